package com.corvane.cvx.transcoder.host;

import java.io.BufferedInputStream;
import java.io.DataInputStream;
import java.io.EOFException;
import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;

/**
 * Reads an FLV file tag by tag. FLV's codec ids are the library's codec
 * numbers and its video frame types (1 key, 2 inter, 3 disposable) are the
 * library's too, so a host passes them through unchanged.
 */
public final class FlvReader implements AutoCloseable {
    public static final int TAG_AUDIO = 8;
    public static final int TAG_VIDEO = 9;

    /** One audio or video tag. */
    public static final class Tag {
        public int type;
        /** Decode time in milliseconds. */
        public long timestamp;
        /** Video: codec id (2 Spark, 7 H.264); audio: sound format (2 MP3, 7/8 G.711, 10 AAC, 11 Speex). */
        public int codec;
        /** Video: 1 key, 2 inter, 3 disposable. */
        public int frameType;
        /** H.264 composition offset in milliseconds; the presentation time is timestamp + this. */
        public int compositionTime;
        /** H.264 and AAC: true for the decoder configuration record. */
        public boolean config;
        /** Audio header fields: rate code (0 5.5 kHz .. 3 44 kHz), 16-bit flag, stereo flag. */
        public int soundRate;
        public boolean soundStereo;
        /** The payload after the codec's own tag header. */
        public byte[] data;

        public long presentationTime() {
            return timestamp + compositionTime;
        }
    }

    private final DataInputStream in;

    public FlvReader(Path file) throws IOException {
        this(Files.newInputStream(file));
    }

    public FlvReader(InputStream stream) throws IOException {
        in = new DataInputStream(new BufferedInputStream(stream, 1 << 16));
        byte[] header = new byte[9];
        in.readFully(header);
        if (header[0] != 'F' || header[1] != 'L' || header[2] != 'V') {
            throw new IOException("not an FLV file");
        }
        int headerSize = ((header[5] & 0xFF) << 24) | ((header[6] & 0xFF) << 16) | ((header[7] & 0xFF) << 8)
                | (header[8] & 0xFF);
        in.skipNBytes(Math.max(0, headerSize - 9) + 4);
    }

    /** The next audio or video tag, or null at the end of the file. Script tags are skipped. */
    public Tag next() throws IOException {
        while (true) {
            int type;
            try {
                type = in.readUnsignedByte() & 0x1F;
            } catch (EOFException end) {
                return null;
            }
            int size = read24();
            long timestamp = read24() | ((long) in.readUnsignedByte() << 24);
            in.skipNBytes(3);
            byte[] body = new byte[size];
            in.readFully(body);
            in.skipNBytes(4);
            if (size == 0 || (type != TAG_AUDIO && type != TAG_VIDEO)) {
                continue;
            }
            Tag tag = new Tag();
            tag.type = type;
            tag.timestamp = timestamp;
            int first = body[0] & 0xFF;
            int skip = 1;
            if (type == TAG_VIDEO) {
                tag.frameType = first >> 4;
                tag.codec = first & 0x0F;
                if (tag.codec == 7 && size >= 5) {
                    tag.config = body[1] == 0;
                    int cts = ((body[2] & 0xFF) << 16) | ((body[3] & 0xFF) << 8) | (body[4] & 0xFF);
                    tag.compositionTime = (cts << 8) >> 8;
                    skip = 5;
                    if (body[1] == 2) {
                        continue; // end of sequence
                    }
                }
            } else {
                tag.codec = first >> 4;
                tag.soundRate = (first >> 2) & 3;
                tag.soundStereo = (first & 1) != 0;
                if (tag.codec == 10 && size >= 2) {
                    tag.config = body[1] == 0;
                    skip = 2;
                }
            }
            tag.data = new byte[size - skip];
            System.arraycopy(body, skip, tag.data, 0, tag.data.length);
            return tag;
        }
    }

    private int read24() throws IOException {
        return (in.readUnsignedByte() << 16) | (in.readUnsignedByte() << 8) | in.readUnsignedByte();
    }

    @Override
    public void close() throws IOException {
        in.close();
    }
}
