package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.host.FlvReader;
import com.corvane.cvx.transcoder.model.MediaTools;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/** The input of the API tests: two seconds of 320x240 H.264 with B-frames and 440 Hz AAC, as FLV tags. */
final class ApiFixtures {
    static final int FRAMES = 50;

    final byte[] videoConfig;
    final byte[] audioConfig;
    final List<FlvReader.Tag> video = new ArrayList<>();
    final List<FlvReader.Tag> audio = new ArrayList<>();

    private ApiFixtures(Path file) throws Exception {
        byte[] vc = null;
        byte[] ac = null;
        try (FlvReader reader = new FlvReader(file)) {
            for (FlvReader.Tag tag = reader.next(); tag != null; tag = reader.next()) {
                boolean isVideo = tag.type == FlvReader.TAG_VIDEO;
                if (tag.config) {
                    if (isVideo) {
                        vc = tag.data;
                    } else {
                        ac = tag.data;
                    }
                } else {
                    (isVideo ? video : audio).add(tag);
                }
            }
        }
        videoConfig = vc;
        audioConfig = ac;
    }

    static ApiFixtures load() throws Exception {
        Path file = MediaTools.tmpDir().resolve("api-in.flv");
        if (!Files.exists(file)) {
            MediaTools.run("ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i",
                    "testsrc2=size=320x240:rate=25:duration=2", "-f", "lavfi", "-i",
                    "sine=frequency=440:duration=2:sample_rate=44100", "-c:v", "libx264", "-bf", "2", "-g", "25",
                    "-pix_fmt", "yuv420p", "-c:a", "aac", "-ac", "1", "-f", "flv", file.toString());
        }
        return new ApiFixtures(file);
    }

    static FrameType frameType(FlvReader.Tag tag) {
        return tag.frameType == 1 ? FrameType.KEY : FrameType.INTER;
    }
}
