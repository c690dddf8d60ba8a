package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderNativeParameterValue;

import java.util.ArrayList;
import java.util.List;

/** What every codec's builder has: a name for its log lines, and settings, typed or as raw records. */
public abstract class CodecBuilder<B extends CodecBuilder<B>> {
    final Session session;
    final List<TranscoderNativeParameterValue> parameters = new ArrayList<>();
    String name;

    CodecBuilder(Session session) {
        this.session = session;
    }

    @SuppressWarnings("unchecked")
    private B self() {
        return (B) this;
    }

    /** The name that replaces {@code {context}} in this codec's log lines. */
    public B name(String name) {
        this.name = name;
        return self();
    }

    public B set(Setting.OfLong setting, long value) {
        parameters.add(setting.value(value));
        return self();
    }

    public B set(Setting.OfDouble setting, double value) {
        parameters.add(setting.value(value));
        return self();
    }

    public B set(Setting.OfLongArray setting, long... values) {
        parameters.add(setting.value(values));
        return self();
    }

    public B set(Setting.OfDoubleArray setting, double... values) {
        parameters.add(setting.value(values));
        return self();
    }

    /** Numbered records as the natives take them, sent after the typed settings. */
    public B parameters(TranscoderNativeParameterValue... values) {
        parameters.addAll(List.of(values));
        return self();
    }

    TranscoderNativeParameterValue[] parameterArray() {
        return parameters.toArray(new TranscoderNativeParameterValue[0]);
    }
}
