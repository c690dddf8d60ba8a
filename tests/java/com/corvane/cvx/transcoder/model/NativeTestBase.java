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
