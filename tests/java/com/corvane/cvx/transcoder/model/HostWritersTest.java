package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.corvane.cvx.transcoder.AudioPacket;
import com.corvane.cvx.transcoder.PictureType;
import com.corvane.cvx.transcoder.VideoPacket;
import com.corvane.cvx.transcoder.host.AudioFormat;
import com.corvane.cvx.transcoder.host.FlvReader;
import com.corvane.cvx.transcoder.host.FlvWriter;

import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.Test;

/**
 * The FLV writer on H.264 with B-frames and AAC, packets shaped as the
 * library hands them over (decode order, presentation times only, audio as
 * sample positions), taken from an ffmpeg-made file. It runs whether or not
 * the library has its AAC codecs yet.
 */
class HostWritersTest {
    @Test
    void h264WithBFramesAndAacBecomeAnFlvThatPlaysCleanly() throws Exception {
        Path source = MediaTools.tmpDir().resolve("writer-source.flv");
        MediaTools.run("ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25:duration=2",
                "-f", "lavfi", "-i", "sine=frequency=440:sample_rate=44100:duration=2", "-c:v", "libx264", "-bf", "3",
                "-g", "25", "-c:a", "aac", "-ac", "2", "-f", "flv", source.toString());
        List<VideoPacket> video = new ArrayList<>();
        List<AudioPacket> audio = new ArrayList<>();
        try (FlvReader reader = new FlvReader(source)) {
            for (FlvReader.Tag tag = reader.next(); tag != null; tag = reader.next()) {
                if (tag.config) {
                    continue;
                }
                if (tag.type == FlvReader.TAG_VIDEO) {
                    // The library's packets carry no decode time.
                    video.add(new VideoPacket(tag.data, tag.presentationTime(), tag.frameType == 1 ? PictureType.KEY
                            : tag.compositionTime > 40 ? PictureType.PREDICTED : PictureType.BIDIRECTIONAL));
                } else {
                    audio.add(new AudioPacket(tag.data, tag.timestamp * 441 / 10, 44100, 2));
                }
            }
        }
        // The key frame must carry its parameter sets in band, as the library's do.
        byte[] config = null;
        try (FlvReader reader = new FlvReader(source)) {
            for (FlvReader.Tag tag = reader.next(); config == null && tag != null; tag = reader.next()) {
                if (tag.type == FlvReader.TAG_VIDEO && tag.config) {
                    config = tag.data;
                }
            }
        }
        VideoPacket first = video.get(0);
        video.set(0, new VideoPacket(withParameterSets(config, first.data()), first.timecode(), first.pictureType()));

        Path out = MediaTools.tmpDir().resolve("writer-out.flv");
        try (FlvWriter writer = new FlvWriter(out, 320, 240, 25.0, 400_000, AudioFormat.aac(44100, 2), 0)) {
            // Audio runs ahead of video, as a lookahead encoder makes it.
            int a = 0;
            for (int v = 0; v < video.size(); v++) {
                while (a < audio.size() && audio.get(a).timecodeMillis() < video.get(v).timecode() + 600) {
                    writer.writeAudio(audio.get(a++));
                }
                writer.writeVideo(video.get(v));
            }
            while (a < audio.size()) {
                writer.writeAudio(audio.get(a++));
            }
        }

        assertEquals("", ReferenceHostTest.warnings(out), "plays without warnings");
        var streams = ReferenceHostTest.streams(out);
        assertEquals("h264", streams.get("video").get("codec_name"));
        assertEquals(Integer.toString(video.size()), streams.get("video").get("nb_read_frames"));
        assertEquals("aac", streams.get("audio").get("codec_name"));
        assertEquals(Integer.toString(audio.size()), streams.get("audio").get("nb_read_frames"));
        assertEquals(440.0, MediaTools.dominantFrequency(MediaTools.decodeToPcm(out, 8000), 8000), 5.0);

        // Every frame keeps its presentation time and decode times rise.
        String text = new String(MediaTools.run("ffprobe", "-v", "error", "-select_streams", "v", "-show_entries",
                "packet=pts,dts", "-of", "csv=p=0", out.toString()), StandardCharsets.UTF_8);
        long shift = -1;
        long lastDts = Long.MIN_VALUE;
        int i = 0;
        for (String line : text.trim().split("\n")) {
            String[] f = line.split(",");
            long pts = Long.parseLong(f[0]);
            long dts = Long.parseLong(f[1]);
            if (shift < 0) {
                shift = pts - video.get(0).timecode();
            }
            assertEquals(video.get(i++).timecode() + shift, pts, "presentation of packet " + i);
            assertTrue(dts > lastDts && dts <= pts, "decode time of packet " + i);
            lastDts = dts;
        }
        assertTrue(Files.size(out) > 10_000);
    }

    /** An access unit with the configuration record's SPS and PPS in front, length-prefixed. */
    static byte[] withParameterSets(byte[] record, byte[] unit) {
        int spsLength = ((record[6] & 0xFF) << 8) | (record[7] & 0xFF);
        int ppsAt = 8 + spsLength + 1;
        int ppsLength = ((record[ppsAt] & 0xFF) << 8) | (record[ppsAt + 1] & 0xFF);
        java.io.ByteArrayOutputStream out = new java.io.ByteArrayOutputStream();
        out.writeBytes(new byte[] {0, 0, (byte) (spsLength >> 8), (byte) spsLength});
        out.write(record, 8, spsLength);
        out.writeBytes(new byte[] {0, 0, (byte) (ppsLength >> 8), (byte) ppsLength});
        out.write(record, ppsAt + 2, ppsLength);
        out.writeBytes(unit);
        return out.toByteArray();
    }
}
