package com.corvane.cvx.transcoder;

/**
 * One encoded video picture: for H.264 an access unit of length-prefixed NAL units, for VP8 one frame.
 * Packets come in decode order; {@code timecode} is the source frame's milliseconds, also across reordering.
 * The array is the one the library filled: nothing is copied on the way.
 */
public record VideoPacket(byte[] data, long timecode, PictureType pictureType) {
    public boolean isKeyFrame() {
        return pictureType == PictureType.KEY;
    }
}
