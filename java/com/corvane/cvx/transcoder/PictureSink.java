package com.corvane.cvx.transcoder;

/**
 * Told of each picture the video decoder gives out, with the decoder buffer that holds it. The picture stays
 * there until the decoder writes that buffer again: transfer it into the renditions and encode them here.
 */
@FunctionalInterface
public interface PictureSink<X extends Exception> {
    void picture(int decoderBuffer) throws X;
}
