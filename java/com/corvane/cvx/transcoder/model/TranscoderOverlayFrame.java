package com.corvane.cvx.transcoder.model;

/**
 * A picture to lay over the video. {@code BGRA} pixels, tightly packed and
 * top-down; any alpha below 255 makes it blend. Placement: {@link #dstX} and
 * {@link #dstY} are offsets from the edges that {@link #dstAlign} names
 * (1 left, 2 centre, 4 right; 16 top, 32 middle, 64 bottom), and the picture
 * is scaled to {@link #dstWidth} x {@link #dstHeight}.
 */
public class TranscoderOverlayFrame {
    public static final int ALIGN_LEFT = 1;
    public static final int ALIGN_CENTER = 2;
    public static final int ALIGN_RIGHT = 4;
    public static final int ALIGN_TOP = 16;
    public static final int ALIGN_MIDDLE = 32;
    public static final int ALIGN_BOTTOM = 64;

    public long fourcc = TranscoderSessionNative.FOURCC_BGRA;
    public byte[] bytes;
    public long stride;
    public long frameStartOffset;
    public int width;
    public int height;
    public int dstX;
    public int dstY;
    public int dstWidth;
    public int dstHeight;
    public int dstAlign = ALIGN_LEFT | ALIGN_TOP;
}
