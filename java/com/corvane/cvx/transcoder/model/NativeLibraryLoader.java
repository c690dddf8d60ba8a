package com.corvane.cvx.transcoder.model;

import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.net.URL;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.DigestInputStream;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.HexFormat;
import java.util.Locale;

/**
 * Finds and loads {@code libcvx-transcoder.so}, in this order:
 * <ol>
 * <li>the path in the system property {@value #LIBRARY_PROPERTY}, when set;</li>
 * <li>the copy bundled in the jar for this platform ({@code linux-x86_64}, ...), extracted once into a per-user
 * cache folder named after the library's SHA-256 ({@value #CACHE_PROPERTY}, else {@code $XDG_CACHE_HOME} or
 * {@code ~/.cache}, then {@code cvx-transcoder/});</li>
 * <li>{@code java.library.path}.</li>
 * </ol>
 * The cached file is written to a temporary name and renamed into place, so JVMs starting together never load
 * a half-written library; a cached file whose content no longer matches its folder's hash is written again.
 */
final class NativeLibraryLoader {
    static final String LIBRARY_PROPERTY = "cvx.transcoder.library";
    static final String CACHE_PROPERTY = "cvx.transcoder.cache";
    static final String LIBRARY_NAME = "cvx-transcoder";
    /** The jar's folder of bundled libraries, one subfolder per platform. */
    static final String RESOURCE_ROOT = "/com/corvane/cvx/transcoder/native/";

    /** Where the library came from: a file path, or "java.library.path". */
    private static volatile String loadedFrom;

    private NativeLibraryLoader() {
    }

    static String loadedFrom() {
        return loadedFrom;
    }

    static void load() {
        String override = System.getProperty(LIBRARY_PROPERTY);
        if (override != null && !override.isEmpty()) {
            System.load(Path.of(override).toAbsolutePath().toString());
            loadedFrom = override;
            return;
        }
        String platform = platform(System.getProperty("os.name", ""), System.getProperty("os.arch", ""));
        String resource = RESOURCE_ROOT + platform + "/" + System.mapLibraryName(LIBRARY_NAME);
        URL bundled = NativeLibraryLoader.class.getResource(resource);
        if (bundled != null) {
            Path file = extract(bundled, cacheRoot());
            System.load(file.toString());
            loadedFrom = file.toString();
            return;
        }
        try {
            System.loadLibrary(LIBRARY_NAME);
            loadedFrom = "java.library.path";
        } catch (UnsatisfiedLinkError e) {
            throw new UnsatisfiedLinkError("no " + System.mapLibraryName(LIBRARY_NAME) + " for platform " + platform
                    + ": tried the system property " + LIBRARY_PROPERTY + " (not set), the jar's " + resource
                    + " (not in this jar), and java.library.path (" + System.getProperty("java.library.path")
                    + "); set -D" + LIBRARY_PROPERTY + "=/path/to/" + System.mapLibraryName(LIBRARY_NAME));
        }
    }

    /** The platform folder's name: operating system and processor, as {@code linux-x86_64}. */
    static String platform(String osName, String osArch) {
        String os = osName.toLowerCase(Locale.ROOT);
        if (os.startsWith("linux")) {
            os = "linux";
        } else if (os.startsWith("mac") || os.startsWith("darwin")) {
            os = "macos";
        } else if (os.startsWith("windows")) {
            os = "windows";
        }
        String arch = osArch.toLowerCase(Locale.ROOT);
        arch = switch (arch) {
            case "amd64", "x86_64", "x64" -> "x86_64";
            case "aarch64", "arm64" -> "aarch64";
            default -> arch;
        };
        return (os + "-" + arch).replaceAll("[^a-z0-9_.-]", "");
    }

    static Path cacheRoot() {
        String configured = System.getProperty(CACHE_PROPERTY);
        if (configured != null && !configured.isEmpty()) {
            return Path.of(configured);
        }
        String xdg = System.getenv("XDG_CACHE_HOME");
        Path base = xdg != null && Path.of(xdg).isAbsolute() ? Path.of(xdg)
                : Path.of(System.getProperty("user.home"), ".cache");
        return base.resolve("cvx-transcoder");
    }

    /** The bundled library as a file in the cache, written there if it is not there already. */
    static Path extract(URL bundled, Path cacheRoot) {
        String name = System.mapLibraryName(LIBRARY_NAME);
        try {
            String hash = sha256(bundled);
            Path dir = cacheRoot.resolve(hash);
            Path target = dir.resolve(name);
            if (Files.isRegularFile(target) && hash.equals(sha256(target.toUri().toURL()))) {
                return target;
            }
            createOwnerOnlyDirectories(dir);
            Path partial = Files.createTempFile(dir, name, ".part");
            try {
                try (InputStream in = bundled.openStream(); OutputStream out = Files.newOutputStream(partial)) {
                    in.transferTo(out);
                }
                if (!hash.equals(sha256(partial.toUri().toURL()))) {
                    throw new IOException("the copy does not match the jar's library");
                }
                // A rename within one folder is atomic: another JVM sees the old file, the new one, or none.
                Files.move(partial, target, StandardCopyOption.ATOMIC_MOVE, StandardCopyOption.REPLACE_EXISTING);
            } finally {
                Files.deleteIfExists(partial);
            }
            return target;
        } catch (IOException e) {
            UnsatisfiedLinkError error = new UnsatisfiedLinkError("cannot extract the bundled " + name + " into "
                    + cacheRoot + " (" + e + "); set -D" + CACHE_PROPERTY + "=a writable folder or -D"
                    + LIBRARY_PROPERTY + "=/path/to/" + name);
            error.initCause(e);
            throw error;
        }
    }

    /** A library in a folder that others may write to could be replaced under us: keep the cache private. */
    private static void createOwnerOnlyDirectories(Path dir) throws IOException {
        try {
            Files.createDirectories(dir,
                    PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rwx------")));
        } catch (UnsupportedOperationException e) {
            Files.createDirectories(dir);
        }
    }

    private static String sha256(URL url) throws IOException {
        MessageDigest digest;
        try {
            digest = MessageDigest.getInstance("SHA-256");
        } catch (NoSuchAlgorithmException e) {
            throw new IOException("no SHA-256 in this Java runtime", e);
        }
        try (InputStream in = new DigestInputStream(url.openStream(), digest)) {
            in.transferTo(OutputStream.nullOutputStream());
        }
        return HexFormat.of().formatHex(digest.digest());
    }
}
