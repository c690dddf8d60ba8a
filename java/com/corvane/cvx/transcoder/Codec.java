package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderNativeParameterValue;

import java.util.OptionalDouble;
import java.util.OptionalInt;
import java.util.OptionalLong;

/**
 * What every decoder and encoder has: its settings, written before it opens and read back at any time. Most
 * codecs read their settings when they open; a later write counts only where the codec's table says so.
 */
public abstract sealed class Codec permits VideoDecoder, VideoEncoder, AudioDecoder, AudioEncoder {
    final Session session;

    Codec(Session session) {
        this.session = session;
    }

    /** The native call that writes settings, and its name for failures. */
    abstract long setParameters(TranscoderNativeParameterValue[] values);

    abstract long getParameters(TranscoderNativeParameterValue[] values);

    abstract String exportPrefix();

    /** Writes numbered records. The library ignores numbers the codec does not know. */
    public void apply(TranscoderNativeParameterValue... values) {
        if (values.length > 0) {
            session.check(setParameters(values), exportPrefix() + "SetParameterValues");
        }
    }

    /** Empty when the codec has no such long setting. */
    public OptionalLong get(Setting.OfLong setting) {
        TranscoderNativeParameterValue v = read(setting);
        return v.dataType == TranscoderNativeParameterValue.TYPE_LONG ? OptionalLong.of(v.lValue) : OptionalLong.empty();
    }

    /** Empty when the codec has no such double setting. */
    public OptionalDouble get(Setting.OfDouble setting) {
        TranscoderNativeParameterValue v = read(setting);
        return v.dataType == TranscoderNativeParameterValue.TYPE_DOUBLE ? OptionalDouble.of(v.dValue)
                : OptionalDouble.empty();
    }

    /** The length of an array setting (its elements cannot be read back); empty when the codec has none. */
    public OptionalInt length(Setting.OfLongArray setting) {
        TranscoderNativeParameterValue v = read(setting);
        return v.dataType == TranscoderNativeParameterValue.TYPE_LONG_ARRAY && v.larValue != null
                ? OptionalInt.of(v.larValue.length) : OptionalInt.empty();
    }

    private TranscoderNativeParameterValue read(Setting setting) {
        TranscoderNativeParameterValue v = TranscoderNativeParameterValue.query(setting.number());
        session.check(getParameters(new TranscoderNativeParameterValue[] {v}), exportPrefix() + "GetParameterValues");
        return v;
    }
}
