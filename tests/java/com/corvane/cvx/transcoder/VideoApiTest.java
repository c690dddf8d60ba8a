package com.corvane.cvx.transcoder;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.corvane.cvx.transcoder.host.FlvReader;
import com.corvane.cvx.transcoder.model.MediaTools;
import com.corvane.cvx.transcoder.model.TranscoderNativeParameterValue;

import java.io.ByteArrayOutputStream;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

/** The video path through the API: decode, transfer, encode, overlays, settings. */
class VideoApiTest {
    static ApiFixtures input;

    @BeforeAll
    static void fixtures() throws Exception {
        input = ApiFixtures.load();
    }

    static Session session() {
        return Transcoder.session().name("api").logSink(LogSink.discard()).open();
    }

    @Test
    void aTwoRungLadderGivesEveryPictureThatDecodesWithTheSourcesTimesAndKeyFrames() throws Exception {
        List<VideoPacket> h264 = new ArrayList<>();
        List<VideoPacket> vp8 = new ArrayList<>();
        int[] pictures = {0};
        try (Session session = session()) {
            VideoDecoder decoder = session.videoDecoder(VideoCodec.H264).threads(1).open();
            Rendition big = session.rendition(320, 240).add();
            Rendition small = session.rendition(160, 120).scaleMode(ScaleMode.CROP).add();
            VideoEncoder h264Encoder = session.videoEncoder(VideoCodec.H264).rendition(big)
                    .h264(H264Settings.Profile.MAIN, H264Settings.Preset.VERYFAST).bitrate(500_000).keyFrameFollow()
                    .open();
            VideoEncoder vp8Encoder = session.videoEncoder(VideoCodec.VP8).rendition(small).bitrate(150_000).open();
            decoder.decodeCodecConfig(input.videoConfig);
            int reported = 0;
            PictureSink<RuntimeException> encodeBoth = buffer -> {
                pictures[0]++;
                decoder.transfer(buffer);
                h264Encoder.encode(h264::add);
                vp8Encoder.encode(vp8::add);
            };
            for (FlvReader.Tag tag : input.video) {
                reported += decoder.decode(tag.data, tag.presentationTime(), ApiFixtures.frameType(tag), encodeBoth);
            }
            assertTrue(pictures[0] < ApiFixtures.FRAMES, "the decoder holds its reordering window");
            assertTrue(h264.size() < pictures[0], "and H.264 its lookahead");
            // The end of the stream: the decoder's last pictures, then what each encoder holds.
            reported += decoder.endOfStream(encodeBoth);
            h264Encoder.endOfStream(h264::add);
            vp8Encoder.endOfStream(vp8::add);
            assertEquals(pictures[0], reported, "decode answers the pictures it reported");
            FlvReader.Tag late = input.video.get(0);
            TranscoderException refused = assertThrows(TranscoderException.class,
                    () -> decoder.decode(late.data, late.presentationTime(), FrameType.KEY, encodeBoth));
            assertEquals("videoDecoderAddFrame", refused.export());
            assertTrue(refused.getMessage().contains("refused: the stream has ended"), refused.getMessage());
        }
        assertEquals(ApiFixtures.FRAMES, pictures[0], "every picture");
        assertEquals(ApiFixtures.FRAMES, vp8.size(), "a VP8 packet per picture");
        assertEquals(ApiFixtures.FRAMES, h264.size(), "an H.264 packet per picture");

        Set<Long> sourceTimes = new HashSet<>();
        Set<Long> sourceKeys = new TreeSet<>();
        for (FlvReader.Tag tag : input.video) {
            sourceTimes.add(tag.presentationTime());
            if (tag.frameType == 1) {
                sourceKeys.add(tag.presentationTime());
            }
        }
        for (List<VideoPacket> rung : List.of(h264, vp8)) {
            Set<Long> seen = new HashSet<>();
            for (VideoPacket p : rung) {
                assertTrue(sourceTimes.contains(p.timecode()), "a source frame's time: " + p.timecode());
                assertTrue(seen.add(p.timecode()), "each time once: " + p.timecode());
            }
        }
        Set<Long> h264Keys = new TreeSet<>();
        h264.stream().filter(VideoPacket::isKeyFrame).forEach(p -> h264Keys.add(p.timecode()));
        assertEquals(sourceKeys, h264Keys, "key frames follow the source's");
        assertTrue(h264.stream().anyMatch(p -> p.pictureType() == PictureType.BIDIRECTIONAL), "main profile B-frames");

        assertEquals(List.of(320 + "x" + 240, "frames " + h264.size()), decoded(annexB(h264), "h264"));
        assertEquals(List.of(160 + "x" + 120, "frames " + vp8.size()), decoded(ivf(vp8, 160, 120), "ivf"));
    }

    /** Size and frame count as ffprobe decodes them. */
    static List<String> decoded(byte[] stream, String format) throws Exception {
        Path file = MediaTools.tmpDir().resolve("api-out." + format);
        Files.write(file, stream);
        String[] f = new String(MediaTools.run("ffprobe", "-v", "error", "-f", format, "-count_frames",
                "-show_entries", "stream=width,height,nb_read_frames", "-of", "csv=p=0", file.toString()),
                StandardCharsets.UTF_8).trim().split(",");
        return List.of(f[0] + "x" + f[1], "frames " + f[2]);
    }

    /** Length-prefixed NAL units as a start-code stream. */
    static byte[] annexB(List<VideoPacket> packets) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        for (VideoPacket p : packets) {
            ByteBuffer b = ByteBuffer.wrap(p.data());
            while (b.remaining() >= 4) {
                int length = b.getInt();
                out.writeBytes(new byte[] {0, 0, 0, 1});
                out.write(p.data(), b.position(), length);
                b.position(b.position() + length);
            }
        }
        return out.toByteArray();
    }

    static byte[] ivf(List<VideoPacket> packets, int width, int height) {
        ByteBuffer out = ByteBuffer.allocate(32 + packets.stream().mapToInt(p -> 12 + p.data().length).sum())
                .order(ByteOrder.LITTLE_ENDIAN);
        out.put("DKIF".getBytes(StandardCharsets.US_ASCII)).putShort((short) 0).putShort((short) 32)
                .put("VP80".getBytes(StandardCharsets.US_ASCII)).putShort((short) width).putShort((short) height)
                .putInt(1000).putInt(1).putInt(packets.size()).putInt(0);
        for (VideoPacket p : packets) {
            out.putInt(p.data().length).putLong(p.timecode()).put(p.data());
        }
        return out.array();
    }

    @Test
    void overlaysShowInTheRenditionsPictureUntilRemoved() {
        try (Session session = session()) {
            VideoDecoder decoder = session.videoDecoder(VideoCodec.H264).open();
            Rendition rendition = session.rendition(320, 240).add();
            decoder.decodeCodecConfig(input.videoConfig);
            byte[] red = new byte[8 * 8 * 4];
            for (int i = 0; i < red.length; i += 4) {
                red[i + 2] = (byte) 255;
                red[i + 3] = (byte) 255;
            }
            rendition.setOverlay(1, Overlay.bgra(red, 8, 8).place(Overlay.Anchor.BOTTOM_RIGHT, 4, 4, 32, 16));
            List<long[]> seen = new ArrayList<>();
            int index = 0;
            while (seen.size() < 2) {
                FlvReader.Tag tag = input.video.get(index++);
                decoder.decode(tag.data, tag.presentationTime(), ApiFixtures.frameType(tag), buffer -> {
                    decoder.transfer(buffer);
                    BgraPicture picture = rendition.readBgra(0).orElseThrow();
                    BgraPicture source = decoder.readBgra(buffer).orElseThrow();
                    assertEquals(source.timecode(), picture.timecode());
                    assertEquals(List.of(320, 240), List.of(picture.width(), picture.height()));
                    // The middle of the overlay's place: 4 from the right and bottom edges, 32x16.
                    int at = ((240 - 4 - 8) * 320 + (320 - 4 - 16)) * 4;
                    seen.add(new long[] {picture.pixels()[at] & 0xFF, picture.pixels()[at + 1] & 0xFF,
                        picture.pixels()[at + 2] & 0xFF});
                    rendition.removeOverlay(1);
                });
            }
            assertTrue(seen.get(0)[2] > 230 && seen.get(0)[0] < 30 && seen.get(0)[1] < 30, "red: " + rgb(seen.get(0)));
            assertTrue(!(seen.get(1)[2] > 230 && seen.get(1)[0] < 30), "no longer red: " + rgb(seen.get(1)));
        }
    }

    static String rgb(long[] bgr) {
        return bgr[2] + "," + bgr[1] + "," + bgr[0];
    }

    @Test
    void settingsAreTypedAndReadBackAndRawRecordsStillWork() {
        try (Session session = session()) {
            VideoDecoder decoder = session.videoDecoder(VideoCodec.H264).threads(2).open();
            assertEquals(2, decoder.get(VideoDecoderSettings.THREADS).orElseThrow());
            Rendition r = session.rendition(320, 240).add();
            VideoEncoder h264 = session.videoEncoder(VideoCodec.H264).rendition(r).frameRate(25).bitrate(700_000)
                    .set(H264Settings.B_FRAMES, 0).set(H264Settings.DEBLOCK, 1, -1)
                    .parameters(TranscoderNativeParameterValue.ofLong(H264Settings.LOG_LEVEL.number(), 0)).open();
            assertEquals(0, h264.get(H264Settings.B_FRAMES).orElseThrow());
            assertEquals(0, h264.get(H264Settings.LOG_LEVEL).orElseThrow(), "a raw record");
            assertEquals(700_000, h264.get(H264Settings.BITRATE).orElseThrow(), "the builder's bit rate");
            assertEquals(25.0, h264.get(H264Settings.FRAME_RATE).orElseThrow());
            assertEquals(4, h264.length(H264Settings.DEBLOCK).orElseThrow());
            assertTrue(h264.get(Setting.ofLong(9999, "no such")).isEmpty());
            h264.apply(H264Settings.REQUESTED_KEY_FRAMES_IDR.value(0));
            assertEquals(0, h264.get(H264Settings.REQUESTED_KEY_FRAMES_IDR).orElseThrow(), "written after opening");

            VideoEncoder vp8 = session.videoEncoder(VideoCodec.VP8).rendition(r).open();
            assertTrue(vp8.get(H264Settings.BITRATE).isEmpty(), "another class's number means nothing to VP8");
        }
    }

    @Test
    void badIndicesAreRefused() {
        try (Session session = session()) {
            VideoDecoder decoder = session.videoDecoder(VideoCodec.H264).buffers(2).open();
            session.rendition(64, 48).add();
            FlvReader.Tag key = input.video.get(0);
            assertThrows(IndexOutOfBoundsException.class,
                    () -> decoder.decode(key.data, 0, key.data.length, 0, FrameType.KEY, 2, buffer -> { }));
            TranscoderException e = assertThrows(TranscoderException.class, () -> decoder.transfer(0, 1));
            assertEquals("videoDecoderTransferFrame", e.export());
            assertTrue(decoder.readBgra(1).isEmpty(), "no picture yet");
        }
    }
}
