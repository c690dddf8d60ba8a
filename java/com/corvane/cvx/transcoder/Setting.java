package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderNativeParameterValue;

/**
 * A codec's numbered setting with the type of its value. The number means something only to the codec class
 * it belongs to; another class ignores it. {@link H264Settings} and {@link VideoDecoderSettings} name the
 * common ones; {@code Setting.ofLong(10044, "log level")} names any other.
 */
public sealed interface Setting permits Setting.OfLong, Setting.OfDouble, Setting.OfLongArray, Setting.OfDoubleArray {
    int number();

    String name();

    static OfLong ofLong(int number, String name) {
        return new OfLong(number, name);
    }

    static OfDouble ofDouble(int number, String name) {
        return new OfDouble(number, name);
    }

    static OfLongArray ofLongArray(int number, String name) {
        return new OfLongArray(number, name);
    }

    static OfDoubleArray ofDoubleArray(int number, String name) {
        return new OfDoubleArray(number, name);
    }

    record OfLong(int number, String name) implements Setting {
        public TranscoderNativeParameterValue value(long value) {
            return TranscoderNativeParameterValue.ofLong(number, value);
        }
    }

    record OfDouble(int number, String name) implements Setting {
        public TranscoderNativeParameterValue value(double value) {
            return TranscoderNativeParameterValue.ofDouble(number, value);
        }
    }

    /** The library takes the elements; a read gives the length only (the elements come back as zeros). */
    record OfLongArray(int number, String name) implements Setting {
        public TranscoderNativeParameterValue value(long... values) {
            return TranscoderNativeParameterValue.ofLongArray(number, values.clone());
        }
    }

    /** The library takes the elements; a read gives the length only (the elements come back as zeros). */
    record OfDoubleArray(int number, String name) implements Setting {
        public TranscoderNativeParameterValue value(double... values) {
            return TranscoderNativeParameterValue.ofDoubleArray(number, values.clone());
        }
    }
}
