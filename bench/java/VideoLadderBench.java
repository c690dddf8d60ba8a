import com.corvane.cvx.transcoder.host.FlvReader;
import com.corvane.cvx.transcoder.model.TranscoderLongByReference;
import com.corvane.cvx.transcoder.model.TranscoderPacket;
import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/** An H.264 FLV into VP8 renditions through the exports, as a media server drives them. */
public final class VideoLadderBench {
    private VideoLadderBench() {
    }

    public static void main(String[] args) throws Exception {
        Path input = Path.of(args[0]);
        int[][] ladder = {{640, 360}, {480, 270}, {320, 180}};
        TranscoderSessionNative lib = new TranscoderSessionNative();
        lib.nativeInitialize();
        long s = lib.createInstance();
        lib.videoDecoderCreate(s, 7, 0);
        lib.videoDecoderBuffersCreate(s, 1);
        lib.videoDecoderInitialize(s);
        lib.videoEncoderBufferSetsCreate(s, 1);
        for (int r = 0; r < ladder.length; r++) {
            TranscoderLongByReference index = new TranscoderLongByReference();
            lib.videoEncoderBufferAdd(s, ladder[r][0], ladder[r][1], 3, index);
            lib.videoEncoderAdd(s, 8, 0, index);
            lib.videoEncoderSetDefaults(s, r, 0, 0);
            lib.videoEncoderSetFrameSize(s, r, ladder[r][0], ladder[r][1]);
            lib.videoEncoderSetBitrate(s, r, 800_000);
            lib.videoEncoderInitialize(s, r);
        }
        TranscoderLongByReference flags = new TranscoderLongByReference();
        List<TranscoderPacket> packets = new ArrayList<>();
        long bytes = 0;
        int pictures = 0;
        long start = System.nanoTime();
        try (FlvReader reader = new FlvReader(input)) {
            for (FlvReader.Tag tag = reader.next(); tag != null; tag = reader.next()) {
                if (tag.type != FlvReader.TAG_VIDEO) {
                    continue;
                }
                if (tag.config) {
                    lib.videoDecoderDecodeCodecConfig(s, tag.data, 0, tag.data.length);
                    continue;
                }
                lib.videoDecoderAddFrame(s, tag.data, 0, tag.data.length, tag.presentationTime(), tag.frameType);
                do {
                    lib.videoDecoderDecode(s, 0, flags);
                    if ((flags.value & 4) != 0 && (flags.value & 8) == 0) {
                        pictures++;
                        lib.videoDecoderTransferFrame(s, 0, 0);
                        for (int r = 0; r < ladder.length; r++) {
                            lib.videoEncoderAddFrame(s, r, 0, r, 0);
                            packets.clear();
                            lib.videoEncoderGetEncodedFrames(s, r, packets);
                            for (TranscoderPacket p : packets) {
                                bytes += p.len;
                            }
                        }
                    }
                } while ((flags.value & 1) == 0);
            }
        }
        double seconds = (System.nanoTime() - start) / 1e9;
        lib.destroyInstance(s);
        System.out.printf("pictures: %d, %.1f fps, %d bytes out%n", pictures, pictures / seconds, bytes);
    }
}
