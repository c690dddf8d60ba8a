package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.AudioPacket;
import com.corvane.cvx.transcoder.VideoPacket;

import java.io.BufferedOutputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.io.RandomAccessFile;
import java.nio.file.Files;
import java.nio.file.Path;

/**
 * Writes VP8 video and Vorbis audio into WebM: the EBML header, one Segment
 * with Info and Tracks, then Clusters of SimpleBlocks, each cluster opened at
 * a video key frame. The segment size and the duration are filled in when the
 * file is closed. Times are milliseconds (the default time scale).
 */
public final class WebmWriter implements MediaWriter {
    private static final int VIDEO_TRACK = 1;
    private static final int AUDIO_TRACK = 2;
    /** Block times are 16-bit offsets from their cluster's time. */
    private static final long MAX_CLUSTER_SPAN = 30_000;
    private static final int MAX_CLUSTER_BYTES = 8 << 20;

    private final Path file;
    private final OutputStream out;
    private final long origin;
    private final Interleaver<Block> interleaver;
    private long written;
    private long segmentSizeOffset;
    private long segmentStart;
    private long durationOffset;
    private final ByteArrayOutputStream cluster = new ByteArrayOutputStream();
    private long clusterTime = -1;
    private final VideoSpan span;

    private record Block(int track, long time, boolean key, byte[] data) {
    }

    /**
     * @param audio  Vorbis format with its three headers, or null for a file without audio
     * @param origin the stream time that becomes 0 in the file, in milliseconds
     */
    public WebmWriter(Path file, int width, int height, double frameRate, AudioFormat audio, long origin)
            throws IOException {
        this.file = file;
        this.origin = origin;
        this.span = new VideoSpan(frameRate);
        this.out = new BufferedOutputStream(Files.newOutputStream(file), 1 << 16);
        this.interleaver = new Interleaver<>(audio != null, (block, video) -> addBlock(block));
        writeHeader(width, height, audio);
    }

    private void writeHeader(int width, int height, AudioFormat audio) throws IOException {
        Ebml head = new Ebml();
        head.master(Ebml.EBML, new Ebml().uint(0x4286, 1).uint(0x42F7, 1).uint(0x42F2, 4).uint(0x42F3, 8)
                .string(0x4282, "webm").uint(0x4287, 2).uint(0x4285, 2));
        head.header(Ebml.SEGMENT, 0);
        // The segment's size is patched at the end, in a fixed eight-byte field.
        byte[] start = head.toByteArray();
        write(java.util.Arrays.copyOf(start, start.length - 1));
        segmentSizeOffset = written;
        write(Ebml.UNKNOWN_SIZE);
        segmentStart = written;

        Ebml info = new Ebml().uint(0x2AD7B1, 1_000_000).string(0x4D80, "cvx-transcoder reference host")
                .string(0x5741, "cvx-transcoder reference host");
        int durationAt = info.size() + 3;
        info.floating(Ebml.DURATION, 0);
        Ebml infoElement = new Ebml().master(Ebml.INFO, info);
        durationOffset = written + (infoElement.size() - info.size()) + durationAt;
        write(infoElement.toByteArray());

        Ebml tracks = new Ebml();
        tracks.master(Ebml.TRACK_ENTRY, new Ebml().uint(0xD7, VIDEO_TRACK).uint(0x73C5, VIDEO_TRACK).uint(0x83, 1)
                .string(0x86, "V_VP8").master(0xE0, new Ebml().uint(0xB0, width).uint(0xBA, height)));
        if (audio != null) {
            tracks.master(Ebml.TRACK_ENTRY, new Ebml().uint(0xD7, AUDIO_TRACK).uint(0x73C5, AUDIO_TRACK)
                    .uint(0x83, 2).string(0x86, "A_VORBIS").bytes(0x63A2, Ebml.xiphLaced(audio.headers()))
                    .master(0xE1, new Ebml().floating(0xB5, audio.sampleRate()).uint(0x9F, audio.channels())));
        }
        write(new Ebml().master(Ebml.TRACKS, tracks).toByteArray());
    }

    @Override
    public void writeVideo(VideoPacket packet) throws IOException {
        if (span.frames() == 0 && !packet.isKeyFrame()) {
            return; // a player starts at a key frame
        }
        long time = packet.timecode() - origin;
        span.add(time);
        interleaver.addVideo(time, new Block(VIDEO_TRACK, time, packet.isKeyFrame(), packet.data()));
    }

    @Override
    public void writeAudio(AudioPacket packet) throws IOException {
        if (packet.data().length == 0) {
            return;
        }
        long time = packet.timecodeMillis() - origin;
        interleaver.addAudio(time, new Block(AUDIO_TRACK, time, true, packet.data()));
    }

    private void addBlock(Block block) throws IOException {
        long time = Math.max(0, block.time());
        boolean newCluster = clusterTime < 0 || (block.track() == VIDEO_TRACK && block.key())
                || time - clusterTime > MAX_CLUSTER_SPAN || time < clusterTime || cluster.size() > MAX_CLUSTER_BYTES;
        if (newCluster) {
            flushCluster();
            clusterTime = time;
            Ebml timeElement = new Ebml().uint(Ebml.CLUSTER_TIME, time);
            cluster.writeBytes(timeElement.toByteArray());
        }
        int relative = (int) (time - clusterTime);
        ByteArrayOutputStream payload = new ByteArrayOutputStream(block.data().length + 4);
        payload.write(0x80 | block.track());
        payload.write(relative >> 8);
        payload.write(relative);
        payload.write(block.key() ? 0x80 : 0);
        payload.writeBytes(block.data());
        Ebml element = new Ebml().bytes(Ebml.SIMPLE_BLOCK, payload.toByteArray());
        cluster.writeBytes(element.toByteArray());
    }

    private void flushCluster() throws IOException {
        if (cluster.size() == 0) {
            return;
        }
        write(new Ebml().header(Ebml.CLUSTER, cluster.size()).toByteArray());
        write(cluster.toByteArray());
        cluster.reset();
    }

    private void write(byte[] bytes) throws IOException {
        out.write(bytes);
        written += bytes.length;
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
            interleaver.finish();
            flushCluster();
        } finally {
            out.close();
        }
        try (RandomAccessFile patch = new RandomAccessFile(file.toFile(), "rw")) {
            patch.seek(segmentSizeOffset);
            patch.writeLong((written - segmentStart) | (1L << 56));
            patch.seek(durationOffset);
            patch.writeDouble(span.endMillis());
        }
    }
}
