import com.corvane.cvx.transcoder.model.TranscoderLogStatement;
import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/** Create, drain and destroy sessions through JNI; report time per cycle and process RSS. */
public final class SessionCycleBench {
    private SessionCycleBench() {
    }

    static long rssKiB() throws Exception {
        for (String line : Files.readAllLines(Path.of("/proc/self/status"))) {
            if (line.startsWith("VmRSS:")) {
                return Long.parseLong(line.replaceAll("[^0-9]", ""));
            }
        }
        return -1;
    }

    static void cycles(TranscoderSessionNative lib, int count) {
        List<TranscoderLogStatement> log = new ArrayList<>();
        for (int i = 0; i < count; i++) {
            long session = lib.createInstance();
            log.clear();
            lib.getLogStatements(session, log);
            lib.destroyInstance(session);
        }
    }

    public static void main(String[] args) throws Exception {
        int count = args.length > 0 ? Integer.parseInt(args[0]) : 10000;
        TranscoderSessionNative lib = new TranscoderSessionNative();
        lib.nativeInitialize();
        cycles(lib, 1000); // warm-up: JIT and allocator
        System.gc();
        long rssBefore = rssKiB();
        long start = System.nanoTime();
        cycles(lib, count);
        long elapsed = System.nanoTime() - start;
        System.gc();
        long rssAfter = rssKiB();
        System.out.printf("cycles: %d%n", count);
        System.out.printf("time per create/drain/destroy cycle: %.2f us%n", elapsed / 1000.0 / count);
        System.out.printf("RSS before: %d KiB, after: %d KiB, growth: %d KiB%n", rssBefore, rssAfter,
                rssAfter - rssBefore);
    }
}
