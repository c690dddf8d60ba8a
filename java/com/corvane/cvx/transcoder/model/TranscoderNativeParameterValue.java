package com.corvane.cvx.transcoder.model;

/**
 * One numbered codec setting. For a set, fill {@link #dataType},
 * {@link #settingIndex} and the value field of that type; for a get, fill
 * {@link #settingIndex} only and the library writes type and value.
 */
public class TranscoderNativeParameterValue {
    public static final int TYPE_UNKNOWN = 0;
    public static final int TYPE_LONG = 1;
    public static final int TYPE_LONG_ARRAY = 2;
    public static final int TYPE_DOUBLE = 3;
    public static final int TYPE_DOUBLE_ARRAY = 4;

    public int dataType;
    public int settingIndex;
    public long lValue;
    public long[] larValue;
    public double dValue;
    public double[] darValue;

    public TranscoderNativeParameterValue() {
    }

    public static TranscoderNativeParameterValue query(int settingIndex) {
        TranscoderNativeParameterValue v = new TranscoderNativeParameterValue();
        v.settingIndex = settingIndex;
        return v;
    }

    public static TranscoderNativeParameterValue ofLong(int settingIndex, long value) {
        TranscoderNativeParameterValue v = query(settingIndex);
        v.dataType = TYPE_LONG;
        v.lValue = value;
        return v;
    }

    public static TranscoderNativeParameterValue ofLongArray(int settingIndex, long[] value) {
        TranscoderNativeParameterValue v = query(settingIndex);
        v.dataType = TYPE_LONG_ARRAY;
        v.larValue = value;
        return v;
    }

    public static TranscoderNativeParameterValue ofDouble(int settingIndex, double value) {
        TranscoderNativeParameterValue v = query(settingIndex);
        v.dataType = TYPE_DOUBLE;
        v.dValue = value;
        return v;
    }

    public static TranscoderNativeParameterValue ofDoubleArray(int settingIndex, double[] value) {
        TranscoderNativeParameterValue v = query(settingIndex);
        v.dataType = TYPE_DOUBLE_ARRAY;
        v.darValue = value;
        return v;
    }
}
