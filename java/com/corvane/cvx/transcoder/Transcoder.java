package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

/**
 * Where a host starts: loads the library (from the jar, see {@link TranscoderSessionNative}), initialises it
 * once per process, and opens sessions, one per stream.
 *
 * <pre>{@code
 * try (Session session = Transcoder.openSession()) {
 *     ...
 * }
 * }</pre>
 */
public final class Transcoder {
    private static TranscoderSessionNative natives;

    private Transcoder() {
    }

    /**
     * The raw natives, loaded and initialised. For calls the API does not cover, on a session's
     * {@link Session#nativeHandle()}; the session's threading rules hold for them too.
     */
    public static synchronized TranscoderSessionNative natives() {
        if (natives == null) {
            TranscoderSessionNative lib = new TranscoderSessionNative();
            // Once per process, before any concurrency: this method is the only caller and is synchronised.
            lib.nativeInitialize();
            natives = lib;
        }
        return natives;
    }

    /** A session with no name, logging through java.util.logging. */
    public static Session openSession() {
        return session().open();
    }

    /** Names the session (it replaces {@code {context}} in its log) and picks its log sink before opening. */
    public static Session.Builder session() {
        return new Session.Builder();
    }
}
