import com.corvane.cvx.transcoder.model.TranscoderLongByReference;
import com.corvane.cvx.transcoder.model.TranscoderPacket;
import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

import java.util.ArrayList;
import java.util.List;

/** 20 ms mu-law packets into N Vorbis encoders through the exports: time per packet. */
public final class AudioPathJniBench {
    private AudioPathJniBench() {
    }

    static double run(TranscoderSessionNative lib, int encoders, int packets) {
        long s = lib.createInstance();
        lib.audioDecoderCreate(s, 8, 0);
        byte[] description = {0, 0, 0, 0x1F, 0x40, 0, 0, 0, 1};
        lib.audioDecoderDecodeFirstFrame(s, description, 0, 9);
        lib.audioDecoderBuffersCreate(s, 1);
        lib.audioDecoderBuffersAllocate(s, 160, 1, 8000);
        for (int e = 0; e < encoders; e++) {
            TranscoderLongByReference index = new TranscoderLongByReference();
            lib.audioEncoderAdd(s, 9, 0, index);
            lib.audioEncoderSetSampleRate(s, e, 8000);
            lib.audioEncoderSetChannels(s, e, 1);
            lib.audioEncoderSetBitrate(s, e, 16000);
            lib.audioEncoderInitialize(s, e);
        }
        byte[] packet = new byte[160];
        List<TranscoderPacket> out = new ArrayList<>();
        long start = System.nanoTime();
        for (int p = 0; p < packets; p++) {
            for (int i = 0; i < 160; i++) {
                packet[i] = (byte) (0x80 + 40 * Math.sin(2 * Math.PI * 440 * (p * 160 + i) / 8000.0));
            }
            lib.audioDecoderDecodeFrame(s, packet, 0, 160, p * 20L, 0);
            for (int e = 0; e < encoders; e++) {
                out.clear();
                lib.audioEncoderAddSampleBuffer(s, e, 0, out);
            }
        }
        double microsPerPacket = (System.nanoTime() - start) / 1000.0 / packets;
        lib.destroyInstance(s);
        return microsPerPacket;
    }

    public static void main(String[] args) {
        TranscoderSessionNative lib = new TranscoderSessionNative();
        lib.nativeInitialize();
        run(lib, 1, 5000); // warm-up
        for (int encoders : new int[] {1, 4}) {
            double us = run(lib, encoders, 50000);
            System.out.printf("%d encoder(s): %.1f us per 20 ms packet through JNI, %.0fx real time%n", encoders, us,
                    20000.0 / us);
        }
    }
}
