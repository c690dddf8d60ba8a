package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderLongByReference;
import com.corvane.cvx.transcoder.model.TranscoderVideoFrame;

import java.util.Optional;

/**
 * One picture size of the ladder: every transfer scales the decoded picture into it (in each buffer set),
 * and an encoder made {@link VideoEncoder.Builder#rendition for it} encodes it.
 */
public final class Rendition {
    /** Adds a rendition: {@link Session#rendition(int, int)}. */
    public static final class Builder {
        private final Session session;
        private final int width;
        private final int height;
        private ScaleMode scaleMode = ScaleMode.LETTERBOX;
        private PixelFormat pixelFormat;

        Builder(Session session, int width, int height) {
            if (width <= 0 || height <= 0) {
                throw new IllegalArgumentException("rendition size " + width + "x" + height);
            }
            this.session = session;
            this.width = width;
            this.height = height;
        }

        /** How a picture of another shape is fitted; letterbox when not given. */
        public Builder scaleMode(ScaleMode mode) {
            this.scaleMode = mode;
            return this;
        }

        /** The buffer's layout; the decoder's when not given. */
        public Builder pixelFormat(PixelFormat format) {
            this.pixelFormat = format;
            return this;
        }

        public Rendition add() {
            session.prepareRendition();
            var lib = session.lib;
            TranscoderLongByReference index = new TranscoderLongByReference(-1);
            long status = pixelFormat == null
                    ? lib.videoEncoderBufferAdd(session.handle(), width, height, scaleMode.number(), index)
                    : lib.videoEncoderBufferAdd(session.handle(), width, height, scaleMode.number(),
                            pixelFormat.fourcc(), index);
            session.check(status, "videoEncoderBufferAdd");
            return new Rendition(session, (int) index.value, width, height, scaleMode);
        }
    }

    private final Session session;
    private final int item;
    private final int width;
    private final int height;
    private final ScaleMode scaleMode;

    private Rendition(Session session, int item, int width, int height, ScaleMode scaleMode) {
        this.session = session;
        this.item = item;
        this.width = width;
        this.height = height;
        this.scaleMode = scaleMode;
    }

    /** The rendition's item index in every buffer set. */
    public int item() {
        return item;
    }

    public int width() {
        return width;
    }

    public int height() {
        return height;
    }

    public ScaleMode scaleMode() {
        return scaleMode;
    }

    /** Lays a picture over this rendition, at its size, from any thread; keys give the stacking order. */
    public void setOverlay(int key, Overlay overlay) {
        session.lib.videoEncoderBufferSetOverlayVideoFrame(session.handle(), item, key, overlay.frame());
    }

    public void removeOverlay(int key) {
        session.lib.videoEncoderBufferSetOverlayVideoFrame(session.handle(), item, key, null);
    }

    /** Cuts so many source pixels off each edge before fitting. */
    public void crop(int left, int top, int right, int bottom) {
        if (left < 0 || top < 0 || right < 0 || bottom < 0) {
            throw new IllegalArgumentException("crop " + left + ", " + top + ", " + right + ", " + bottom);
        }
        // The library's order is left, right, top, bottom.
        session.lib.videoEncoderBufferSetCrop(session.handle(), item, new long[] {left, right, top, bottom});
    }

    public void clearCrop() {
        session.lib.videoEncoderBufferSetCrop(session.handle(), item, null);
    }

    /** Fits only this part of the source (a crop, when set, wins). It stays for the rendition's life. */
    public void sourceRect(int x, int y, int width, int height) {
        if (x < 0 || y < 0 || width <= 0 || height <= 0) {
            throw new IllegalArgumentException("source rectangle " + x + ", " + y + ", " + width + "x" + height);
        }
        session.lib.videoEncoderBufferSetSourceRect(session.handle(), item, new long[] {x, y, width, height});
    }

    /** The rendition's picture in a buffer set as top-down BGRA; empty before the first transfer. */
    public Optional<BgraPicture> readBgra(int set) {
        TranscoderVideoFrame frame = new TranscoderVideoFrame();
        session.lib.videoEncoderBufferGetVideoFrame(session.handle(), set, item, frame);
        return BgraPicture.of(frame);
    }
}
