package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

/** Only {@link AudioCodec#MPEG_AUDIO} has a choice: layer III, or layers I and II. */
public enum AudioImplementation {
    DEFAULT(0),
    MP3(TranscoderSessionNative.AUDIO_IMPLEMENTATION_MP3);

    private final long number;

    AudioImplementation(long number) {
        this.number = number;
    }

    public long number() {
        return number;
    }
}
