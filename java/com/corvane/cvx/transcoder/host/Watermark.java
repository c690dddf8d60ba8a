package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.Overlay;
import com.corvane.cvx.transcoder.Rendition;

import java.awt.image.BufferedImage;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

import javax.imageio.ImageIO;

/**
 * A picture laid over every rendition, in the bottom-right corner at a fixed
 * share of the rendition's width, with the picture's own alpha. The library
 * takes straight (not premultiplied) BGRA.
 */
public final class Watermark {
    /** The watermark's width as a share of the rendition's width. */
    static final double WIDTH_SHARE = 0.15;
    /** Distance from the right and bottom edges as a share of the rendition's width. */
    static final double MARGIN_SHARE = 0.02;
    /** The overlay key: also the stacking order among a rendition's overlays. */
    static final int KEY = 1;

    private final byte[] bgra;
    private final int width;
    private final int height;

    private Watermark(byte[] bgra, int width, int height) {
        this.bgra = bgra;
        this.width = width;
        this.height = height;
    }

    public static Watermark load(Path file) throws HostException {
        if (!Files.isReadable(file)) {
            throw new HostException(HostException.USAGE, "watermark not found or unreadable: " + file);
        }
        BufferedImage image;
        try {
            image = ImageIO.read(file.toFile());
        } catch (IOException e) {
            image = null;
        }
        if (image == null) {
            throw new HostException(HostException.USAGE, "watermark is not an image ImageIO reads: " + file);
        }
        int w = image.getWidth();
        int h = image.getHeight();
        byte[] bgra = new byte[w * h * 4];
        int[] row = new int[w];
        for (int y = 0; y < h; y++) {
            // getRGB gives straight ARGB whatever the PNG's own layout.
            image.getRGB(0, y, w, 1, row, 0, w);
            for (int x = 0; x < w; x++) {
                int argb = row[x];
                int i = (y * w + x) * 4;
                bgra[i] = (byte) argb;
                bgra[i + 1] = (byte) (argb >> 8);
                bgra[i + 2] = (byte) (argb >> 16);
                bgra[i + 3] = (byte) (argb >>> 24);
            }
        }
        return new Watermark(bgra, w, h);
    }

    /** The overlay for a rendition of the given size. */
    public Overlay overlayFor(int renditionWidth, int renditionHeight) {
        int dstWidth = even(Math.max(2, renditionWidth * WIDTH_SHARE));
        int dstHeight = even(Math.max(2, (double) dstWidth * height / width));
        if (dstHeight > renditionHeight / 2) {
            dstHeight = even(renditionHeight / 2.0);
            dstWidth = even(Math.max(2, (double) dstHeight * width / height));
        }
        int margin = (int) Math.round(renditionWidth * MARGIN_SHARE);
        return Overlay.bgra(bgra, width, height).place(Overlay.Anchor.BOTTOM_RIGHT, margin, margin, dstWidth,
                dstHeight);
    }

    /** Installs the watermark on one rendition; the library copies the pixels. */
    public void install(Rendition rendition) {
        rendition.setOverlay(KEY, overlayFor(rendition.width(), rendition.height()));
    }

    private static int even(double v) {
        return Math.max(2, (int) Math.round(v / 2) * 2);
    }
}
