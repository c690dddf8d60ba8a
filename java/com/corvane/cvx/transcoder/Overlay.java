package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderOverlayFrame;
import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

/**
 * A picture to lay over the video: straight (not premultiplied) BGRA, tightly packed, top-down; any alpha
 * below 255 blends. It is scaled into its place, which is given from an anchor: {@code x} and {@code y} are
 * distances from the edges the anchor names. The library copies the pixels when the overlay is installed.
 */
public final class Overlay {
    /** Which edges the offsets count from. */
    public enum Anchor {
        TOP_LEFT(TranscoderOverlayFrame.ALIGN_LEFT | TranscoderOverlayFrame.ALIGN_TOP),
        TOP_CENTER(TranscoderOverlayFrame.ALIGN_CENTER | TranscoderOverlayFrame.ALIGN_TOP),
        TOP_RIGHT(TranscoderOverlayFrame.ALIGN_RIGHT | TranscoderOverlayFrame.ALIGN_TOP),
        MIDDLE_LEFT(TranscoderOverlayFrame.ALIGN_LEFT | TranscoderOverlayFrame.ALIGN_MIDDLE),
        CENTER(TranscoderOverlayFrame.ALIGN_CENTER | TranscoderOverlayFrame.ALIGN_MIDDLE),
        MIDDLE_RIGHT(TranscoderOverlayFrame.ALIGN_RIGHT | TranscoderOverlayFrame.ALIGN_MIDDLE),
        BOTTOM_LEFT(TranscoderOverlayFrame.ALIGN_LEFT | TranscoderOverlayFrame.ALIGN_BOTTOM),
        BOTTOM_CENTER(TranscoderOverlayFrame.ALIGN_CENTER | TranscoderOverlayFrame.ALIGN_BOTTOM),
        BOTTOM_RIGHT(TranscoderOverlayFrame.ALIGN_RIGHT | TranscoderOverlayFrame.ALIGN_BOTTOM);

        private final int bits;

        Anchor(int bits) {
            this.bits = bits;
        }
    }

    private final TranscoderOverlayFrame frame = new TranscoderOverlayFrame();

    private Overlay(byte[] pixels, int width, int height) {
        if (width <= 0 || height <= 0 || pixels.length < (long) width * height * 4) {
            throw new IllegalArgumentException("overlay of " + width + "x" + height + " needs "
                    + (long) width * height * 4 + " bytes, has " + pixels.length);
        }
        frame.fourcc = TranscoderSessionNative.FOURCC_BGRA;
        frame.bytes = pixels;
        frame.stride = width * 4L;
        frame.width = width;
        frame.height = height;
        place(Anchor.TOP_LEFT, 0, 0, width, height);
    }

    /** An overlay of the given pixels, at its own size in the top-left corner until placed. */
    public static Overlay bgra(byte[] pixels, int width, int height) {
        return new Overlay(pixels, width, height);
    }

    /** Places the overlay: offsets from the anchor's edges, and the size it is scaled to. */
    public Overlay place(Anchor anchor, int x, int y, int width, int height) {
        frame.dstAlign = anchor.bits;
        frame.dstX = x;
        frame.dstY = y;
        frame.dstWidth = width;
        frame.dstHeight = height;
        return this;
    }

    public int width() {
        return frame.width;
    }

    public int height() {
        return frame.height;
    }

    TranscoderOverlayFrame frame() {
        return frame;
    }
}
