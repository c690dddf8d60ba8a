package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.AudioPacket;
import com.corvane.cvx.transcoder.VideoPacket;

import java.io.BufferedOutputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.io.RandomAccessFile;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;

/**
 * Writes H.264 video and AAC audio into FLV. The library's H.264 packets are
 * access units of length-prefixed NAL units in decode order with presentation
 * times; this writer derives the decode times (tag time stamps) and the
 * composition offsets, builds the AVC sequence header from the first key
 * frame's parameter sets and the AAC one from the AudioSpecificConfig.
 */
public final class FlvWriter implements MediaWriter {
    private static final int TAG_AUDIO = 8;
    private static final int TAG_VIDEO = 9;
    private static final int TAG_SCRIPT = 18;
    private static final int NAL_SPS = 7;
    private static final int NAL_PPS = 8;
    private static final int NAL_DELIMITER = 9;
    /** Sound format 10, 44 kHz, 16 bit, stereo: what FLV requires of every AAC tag. */
    private static final int AAC_SOUND_BYTE = 0xAF;

    private final Path file;
    private final OutputStream out;
    private final AudioFormat audio;
    private final long origin;
    private final DecodeTimeline timeline;
    private final Interleaver<Body> interleaver;
    private long written;
    private long durationOffset = -1;
    private boolean sequenceHeaderWritten;
    private final VideoSpan span;

    /**
     * @param audio  AAC format, or null for a file without audio
     * @param origin the stream time that becomes 0 in the file, in milliseconds
     */
    public FlvWriter(Path file, int width, int height, double frameRate, long videoBitrate, AudioFormat audio,
            long origin) throws IOException {
        this.file = file;
        this.audio = audio;
        this.origin = origin;
        this.span = new VideoSpan(frameRate);
        this.out = new BufferedOutputStream(Files.newOutputStream(file), 1 << 16);
        this.timeline = new DecodeTimeline(this::timed);
        this.interleaver = new Interleaver<>(audio != null, this::writeBody);
        writeHeader(width, height, frameRate, videoBitrate);
    }

    private void writeHeader(int width, int height, double frameRate, long videoBitrate) throws IOException {
        byte[] header = {'F', 'L', 'V', 1, (byte) (audio != null ? 5 : 1), 0, 0, 0, 9, 0, 0, 0, 0};
        writeRaw(header);
        ByteArrayOutputStream meta = new ByteArrayOutputStream();
        amfString(meta, "onMetaData");
        meta.write(8); // ECMA array
        int count = audio != null ? 9 : 6;
        meta.write(new byte[] {0, 0, 0, (byte) count});
        amfKey(meta, "duration");
        // The duration is known at the end: remember where its value goes.
        int durationInMeta = meta.size() + 1;
        amfNumber(meta, 0);
        amfKey(meta, "width");
        amfNumber(meta, width);
        amfKey(meta, "height");
        amfNumber(meta, height);
        amfKey(meta, "framerate");
        amfNumber(meta, frameRate);
        amfKey(meta, "videocodecid");
        amfNumber(meta, 7);
        amfKey(meta, "videodatarate");
        amfNumber(meta, videoBitrate / 1000.0);
        if (audio != null) {
            amfKey(meta, "audiocodecid");
            amfNumber(meta, 10);
            amfKey(meta, "audiosamplerate");
            amfNumber(meta, audio.sampleRate());
            amfKey(meta, "stereo");
            meta.write(1);
            meta.write(audio.channels() > 1 ? 1 : 0);
        }
        meta.write(new byte[] {0, 0, 9});
        durationOffset = written + 11 + durationInMeta;
        writeTag(TAG_SCRIPT, 0, meta.toByteArray());
        if (audio != null) {
            byte[] body = new byte[2 + audio.config().length];
            body[0] = (byte) AAC_SOUND_BYTE;
            body[1] = 0;
            System.arraycopy(audio.config(), 0, body, 2, audio.config().length);
            writeTag(TAG_AUDIO, 0, body);
        }
    }

    @Override
    public void writeVideo(VideoPacket packet) throws IOException {
        if (!sequenceHeaderWritten) {
            // A decoder can only start at a key frame that carries the parameter sets.
            byte[] config = packet.isKeyFrame() ? decoderConfiguration(packet.data()) : null;
            if (config == null) {
                return;
            }
            byte[] body = new byte[5 + config.length];
            body[0] = 0x17;
            System.arraycopy(config, 0, body, 5, config.length);
            writeTag(TAG_VIDEO, 0, body);
            sequenceHeaderWritten = true;
        }
        timeline.add(packet);
    }

    @Override
    public void writeAudio(AudioPacket packet) throws IOException {
        if (audio == null || packet.data().length == 0) {
            return;
        }
        byte[] body = new byte[2 + packet.data().length];
        body[0] = (byte) AAC_SOUND_BYTE;
        body[1] = 1;
        System.arraycopy(packet.data(), 0, body, 2, packet.data().length);
        long time = packet.timecodeMillis() - origin;
        interleaver.addAudio(time, new Body(time, body));
    }

    /** A tag body waiting for its turn, with its time before the video's shift. */
    private record Body(long time, byte[] bytes) {
    }

    private void writeBody(Body body, boolean video) throws IOException {
        // Audio times are presentation times: they move by the video's shift, known by now.
        long time = video ? body.time() : body.time() + timeline.shift();
        writeTag(video ? TAG_VIDEO : TAG_AUDIO, time, body.bytes());
    }

    /** A video packet with its times settled: the audio may now be placed around it. */
    private void timed(VideoPacket packet, long presentation, long decode) throws IOException {
        byte[] units = withoutDelimiters(packet.data());
        byte[] body = new byte[5 + units.length];
        body[0] = (byte) ((packet.isKeyFrame() ? 0x10 : 0x20) | 7);
        body[1] = 1;
        int offset = (int) (presentation - decode);
        body[2] = (byte) (offset >> 16);
        body[3] = (byte) (offset >> 8);
        body[4] = (byte) offset;
        System.arraycopy(units, 0, body, 5, units.length);
        // Ordered against audio by presentation base: the decode time less the shift.
        Body tag = new Body(decode - origin, body);
        interleaver.addVideo(decode - timeline.shift() - origin, tag);
        span.add(presentation);
    }

    private byte[] tag(int type, long time, byte[] body) {
        long t = Math.max(0, time);
        byte[] tag = new byte[11 + body.length + 4];
        int size = body.length;
        tag[0] = (byte) type;
        tag[1] = (byte) (size >> 16);
        tag[2] = (byte) (size >> 8);
        tag[3] = (byte) size;
        tag[4] = (byte) (t >> 16);
        tag[5] = (byte) (t >> 8);
        tag[6] = (byte) t;
        tag[7] = (byte) (t >> 24);
        System.arraycopy(body, 0, tag, 11, body.length);
        int total = 11 + size;
        int end = tag.length - 4;
        tag[end] = (byte) (total >> 24);
        tag[end + 1] = (byte) (total >> 16);
        tag[end + 2] = (byte) (total >> 8);
        tag[end + 3] = (byte) total;
        return tag;
    }

    private void writeTag(int type, long time, byte[] body) throws IOException {
        writeRaw(tag(type, time, body));
    }

    private void writeRaw(byte[] bytes) throws IOException {
        out.write(bytes);
        written += bytes.length;
    }

    /** The AVCDecoderConfigurationRecord from an access unit's SPS and PPS; null if it lacks them. */
    static byte[] decoderConfiguration(byte[] accessUnit) {
        byte[] sps = null;
        byte[] pps = null;
        for (int i = 0; i + 4 <= accessUnit.length;) {
            int length = readInt(accessUnit, i);
            if (length <= 0 || i + 4 + length > accessUnit.length) {
                break;
            }
            int type = accessUnit[i + 4] & 0x1F;
            if (type == NAL_SPS && sps == null) {
                sps = java.util.Arrays.copyOfRange(accessUnit, i + 4, i + 4 + length);
            } else if (type == NAL_PPS && pps == null) {
                pps = java.util.Arrays.copyOfRange(accessUnit, i + 4, i + 4 + length);
            }
            i += 4 + length;
        }
        if (sps == null || pps == null || sps.length < 4) {
            return null;
        }
        ByteArrayOutputStream record = new ByteArrayOutputStream();
        record.write(1);
        record.write(sps[1]); // profile
        record.write(sps[2]); // constraint flags
        record.write(sps[3]); // level
        record.write(0xFF); // four-byte lengths
        record.write(0xE1); // one SPS
        record.write(sps.length >> 8);
        record.write(sps.length);
        record.writeBytes(sps);
        record.write(1); // one PPS
        record.write(pps.length >> 8);
        record.write(pps.length);
        record.writeBytes(pps);
        return record.toByteArray();
    }

    /** The access unit without its delimiters, which FLV does not carry. */
    static byte[] withoutDelimiters(byte[] accessUnit) {
        ByteArrayOutputStream kept = new ByteArrayOutputStream(accessUnit.length);
        int i = 0;
        while (i + 4 <= accessUnit.length) {
            int length = readInt(accessUnit, i);
            if (length < 0 || i + 4 + length > accessUnit.length) {
                // Not our framing: pass the rest through as it is.
                kept.write(accessUnit, i, accessUnit.length - i);
                return kept.toByteArray();
            }
            if (length > 0 && (accessUnit[i + 4] & 0x1F) != NAL_DELIMITER) {
                kept.write(accessUnit, i, 4 + length);
            }
            i += 4 + length;
        }
        return kept.toByteArray();
    }

    private static int readInt(byte[] b, int i) {
        return ((b[i] & 0xFF) << 24) | ((b[i + 1] & 0xFF) << 16) | ((b[i + 2] & 0xFF) << 8) | (b[i + 3] & 0xFF);
    }

    @Override
    public VideoSpan videoSpan() {
        return span;
    }

    @Override
    public long bytesWritten() {
        return written;
    }

    @Override
    public void close() throws IOException {
        try {
            timeline.finish();
            interleaver.finish();
        } finally {
            out.close();
        }
        if (durationOffset >= 0) {
            try (RandomAccessFile patch = new RandomAccessFile(file.toFile(), "rw")) {
                patch.seek(durationOffset);
                patch.writeDouble(span.durationMillis() / 1000.0);
            }
        }
    }

    private static void amfString(ByteArrayOutputStream out, String s) {
        out.write(2);
        amfKey(out, s);
    }

    private static void amfKey(ByteArrayOutputStream out, String s) {
        byte[] bytes = s.getBytes(StandardCharsets.UTF_8);
        out.write(bytes.length >> 8);
        out.write(bytes.length);
        out.writeBytes(bytes);
    }

    private static void amfNumber(ByteArrayOutputStream out, double value) {
        out.write(0);
        long bits = Double.doubleToLongBits(value);
        for (int s = 56; s >= 0; s -= 8) {
            out.write((int) (bits >> s));
        }
    }
}
