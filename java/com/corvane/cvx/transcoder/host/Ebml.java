package com.corvane.cvx.transcoder.host;

import java.io.ByteArrayOutputStream;
import java.nio.charset.StandardCharsets;

/** Builds EBML elements (the encoding under Matroska and WebM) in memory. */
final class Ebml {
    static final int EBML = 0x1A45DFA3;
    static final int SEGMENT = 0x18538067;
    static final int INFO = 0x1549A966;
    static final int TRACKS = 0x1654AE6B;
    static final int TRACK_ENTRY = 0xAE;
    static final int CLUSTER = 0x1F43B675;
    static final int CLUSTER_TIME = 0xE7;
    static final int SIMPLE_BLOCK = 0xA3;
    static final int DURATION = 0x4489;

    /** An element size that says "unknown": eight bytes, all value bits set. */
    static final byte[] UNKNOWN_SIZE = {0x01, (byte) 0xFF, (byte) 0xFF, (byte) 0xFF, (byte) 0xFF, (byte) 0xFF,
        (byte) 0xFF, (byte) 0xFF};

    private final ByteArrayOutputStream out = new ByteArrayOutputStream();

    Ebml uint(int id, long value) {
        int bytes = 1;
        while (bytes < 8 && (value >>> (8 * bytes)) != 0) {
            bytes++;
        }
        byte[] data = new byte[bytes];
        for (int i = 0; i < bytes; i++) {
            data[bytes - 1 - i] = (byte) (value >>> (8 * i));
        }
        return bytes(id, data);
    }

    Ebml floating(int id, double value) {
        long bits = Double.doubleToLongBits(value);
        byte[] data = new byte[8];
        for (int i = 0; i < 8; i++) {
            data[i] = (byte) (bits >>> (56 - 8 * i));
        }
        return bytes(id, data);
    }

    Ebml string(int id, String value) {
        return bytes(id, value.getBytes(StandardCharsets.UTF_8));
    }

    Ebml master(int id, Ebml children) {
        return bytes(id, children.toByteArray());
    }

    Ebml bytes(int id, byte[] data) {
        id(out, id);
        size(out, data.length);
        out.writeBytes(data);
        return this;
    }

    /** The header of an element whose payload follows separately. */
    Ebml header(int id, long size) {
        id(out, id);
        size(out, size);
        return this;
    }

    int size() {
        return out.size();
    }

    byte[] toByteArray() {
        return out.toByteArray();
    }

    static void id(ByteArrayOutputStream out, int id) {
        // Element ids carry their own length marker: write their significant bytes.
        int bytes = (id & 0xFF000000) != 0 ? 4 : (id & 0xFF0000) != 0 ? 3 : (id & 0xFF00) != 0 ? 2 : 1;
        for (int i = bytes - 1; i >= 0; i--) {
            out.write(id >>> (8 * i));
        }
    }

    /** A variable-length size in the fewest bytes that hold it. */
    static void size(ByteArrayOutputStream out, long size) {
        int bytes = 1;
        while (bytes < 8 && size >= (1L << (7 * bytes)) - 1) {
            bytes++;
        }
        long marked = size | (1L << (7 * bytes));
        for (int i = bytes - 1; i >= 0; i--) {
            out.write((int) (marked >>> (8 * i)));
        }
    }

    /** Xiph lacing: all but the last size as runs of 255 and a remainder. */
    static byte[] xiphLaced(java.util.List<byte[]> packets) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        out.write(packets.size() - 1);
        for (int i = 0; i < packets.size() - 1; i++) {
            int n = packets.get(i).length;
            while (n >= 255) {
                out.write(255);
                n -= 255;
            }
            out.write(n);
        }
        for (byte[] p : packets) {
            out.writeBytes(p);
        }
        return out.toByteArray();
    }
}
