package com.corvane.cvx.transcoder.model;

/**
 * A picture read from the library as top-down BGRA. Set {@link #width} and
 * {@link #height} to 0 for the picture's own size, or to a size to get a
 * scaled copy; the library writes every field.
 */
public class TranscoderVideoFrame {
    public long fourcc;
    public byte[] bytes;
    public long stride;
    public long frameStartOffset;
    public int width;
    public int height;
    public long timecode;
}
