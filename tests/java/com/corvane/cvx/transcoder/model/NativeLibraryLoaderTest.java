package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.testing.Media;

import java.io.*;
import java.nio.charset.StandardCharsets;
import java.nio.file.*;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.MessageDigest;
import java.util.*;
import java.util.concurrent.TimeUnit;
import java.util.jar.JarFile;
import java.util.stream.Stream;

import org.junit.jupiter.api.*;

/** The shipped jar loading its own library, each case in a fresh JVM with only the jar and the probe. */
class NativeLibraryLoaderTest {
    static final String ENTRY = "com/corvane/cvx/transcoder/native/linux-x86_64/libcvx-transcoder.so";
    static Path jar;
    static byte[] bundled;
    static String hash;

    @BeforeAll
    static void theShippedJar() throws Exception {
        jar = Path.of(System.getProperty("cvx.test.jar"));
        try (JarFile file = new JarFile(jar.toFile()); InputStream in = file.getInputStream(file.getEntry(ENTRY))) {
            bundled = in.readAllBytes();
        }
        hash = HexFormat.of().formatHex(MessageDigest.getInstance("SHA-256").digest(bundled));
    }

    static Path folder(String name) throws IOException {
        return Media.emptyFolder("loader-" + name);
    }

    static Process start(String... properties) throws Exception {
        Path probe = Path.of(LoaderProbe.class.getProtectionDomain().getCodeSource().getLocation().toURI());
        List<String> command = new ArrayList<>(List.of(Path.of(System.getProperty("java.home"), "bin", "java")
                .toString(), "-Xcheck:jni"));
        for (String p : properties) {
            command.add("-D" + p);
        }
        command.addAll(List.of("-cp", jar + ":" + probe, LoaderProbe.class.getName()));
        return new ProcessBuilder(command).redirectErrorStream(true).start();
    }

    /** What the probe printed, and its exit code after it. */
    static String finish(Process process) throws Exception {
        String out = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8).trim();
        assertTrue(process.waitFor(60, TimeUnit.SECONDS), "the probe ends");
        return out + " [exit " + process.exitValue() + "]";
    }

    static String probe(String... properties) throws Exception {
        return finish(start(properties));
    }

    static String loadedFrom(Path cache) {
        return "loaded " + cache.resolve(hash).resolve("libcvx-transcoder.so") + " [exit 0]";
    }

    @Test
    void theLibraryIsExtractedOnceIntoAPrivateCacheAndRepairedWhenDamaged() throws Exception {
        Path cache = folder("cache");
        assertEquals(loadedFrom(cache), probe("cvx.transcoder.cache=" + cache));
        Path file = cache.resolve(hash).resolve("libcvx-transcoder.so");
        assertArrayEquals(bundled, Files.readAllBytes(file));
        assertEquals("rwx------", PosixFilePermissions.toString(Files.getPosixFilePermissions(file.getParent())));

        Object inode = Files.getAttribute(file, "unix:ino");
        assertEquals(loadedFrom(cache), probe("cvx.transcoder.cache=" + cache));
        assertEquals(inode, Files.getAttribute(file, "unix:ino"), "the second JVM used the cached file as it was");

        byte[] damaged = bundled.clone();
        damaged[damaged.length / 2] ^= 0x5A;
        Files.write(file, damaged);
        assertEquals(loadedFrom(cache), probe("cvx.transcoder.cache=" + cache));
        assertArrayEquals(bundled, Files.readAllBytes(file), "a damaged copy is written anew");
    }

    @Test
    void twoJvmsStartingTogetherShareOneCompleteCopy() throws Exception {
        for (int round = 0; round < 3; round++) {
            Path cache = folder("race-" + round);
            Process a = start("cvx.transcoder.cache=" + cache);
            Process b = start("cvx.transcoder.cache=" + cache);
            assertEquals(loadedFrom(cache), finish(a), "round " + round);
            assertEquals(loadedFrom(cache), finish(b), "round " + round);
            try (Stream<Path> files = Files.list(cache.resolve(hash))) {
                assertEquals(List.of("libcvx-transcoder.so"), files.map(p -> p.getFileName().toString()).toList(),
                        "no partial files left");
            }
            assertArrayEquals(bundled, Files.readAllBytes(cache.resolve(hash).resolve("libcvx-transcoder.so")));
        }
    }

    @Test
    void thePropertyOverridesTheBundledLibrary() throws Exception {
        Path cache = folder("unused");
        Files.delete(cache);
        String library = System.getProperty("cvx.transcoder.library");
        assertEquals("loaded " + library + " [exit 0]",
                probe("cvx.transcoder.library=" + library, "cvx.transcoder.cache=" + cache));
        assertFalse(Files.exists(cache), "nothing extracted");

        String missing = probe("cvx.transcoder.library=/nonexistent/libcvx-transcoder.so");
        assertTrue(missing.startsWith("error: ") && missing.contains("/nonexistent/libcvx-transcoder.so")
                && missing.endsWith("[exit 3]"), missing);
    }

    @Test
    void aPlatformTheJarDoesNotCarryIsFoundOnTheLibraryPathOrNamedInOneError() throws Exception {
        Path empty = folder("empty-path");
        String error = probe("os.arch=riscv64", "java.library.path=" + empty);
        assertEquals("error: no libcvx-transcoder.so for platform linux-riscv64: tried the system property"
                + " cvx.transcoder.library (not set), the jar's /com/corvane/cvx/transcoder/native/linux-riscv64/"
                + "libcvx-transcoder.so (not in this jar), and java.library.path (" + empty + "); set"
                + " -Dcvx.transcoder.library=/path/to/libcvx-transcoder.so [exit 3]", error);

        Path path = folder("library-path");
        Files.copy(Path.of(System.getProperty("cvx.transcoder.library")), path.resolve("libcvx-transcoder.so"));
        assertEquals("loaded java.library.path [exit 0]", probe("os.arch=riscv64", "java.library.path=" + path));
    }
}
