package com.corvane.cvx.transcoder.model;

import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;

/** Gives each test a fresh session through the real boundary and destroys it after. */
abstract class NativeTestBase {
    static final long SESSION_FAILURE = TranscoderSessionNative.STATUS_SESSION_FAILURE;
    static TranscoderSessionNative lib;

    long session;

    @BeforeAll
    static void loadLibrary() {
        if (lib == null) {
            lib = new TranscoderSessionNative();
            lib.nativeInitialize();
        }
    }

    @BeforeEach
    void createSession() {
        // Codec libraries' messages from earlier tests wait in the process-wide
        // log for the next drain; a throwaway session takes them first.
        long sweeper = lib.createInstance();
        lib.getLogStatements(sweeper, new ArrayList<>());
        lib.destroyInstance(sweeper);
        session = lib.createInstance();
        if (session == 0) {
            throw new IllegalStateException("createInstance gave no session");
        }
    }

    @AfterEach
    void destroySession() {
        lib.destroyInstance(session);
        session = 0;
    }

    List<TranscoderLogStatement> drainLog() {
        List<TranscoderLogStatement> out = new ArrayList<>();
        lib.getLogStatements(session, out);
        return out;
    }
}
