package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderVideoFrame;

import java.util.Optional;

/** A picture read from the library: top-down BGRA rows of {@code width * 4} bytes. */
public record BgraPicture(byte[] pixels, int width, int height, long timecode) {
    static Optional<BgraPicture> of(TranscoderVideoFrame frame) {
        if (frame.bytes == null || frame.width <= 0 || frame.height <= 0) {
            return Optional.empty();
        }
        return Optional.of(new BgraPicture(frame.bytes, frame.width, frame.height, frame.timecode));
    }
}
