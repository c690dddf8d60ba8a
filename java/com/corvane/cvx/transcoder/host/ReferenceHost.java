package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.model.TranscoderLogStatement;
import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

import java.util.ArrayList;
import java.util.List;

/**
 * The reference host: shows how a media server drives the library. For now it
 * loads the library, opens a session, prints its log and closes it.
 */
public final class ReferenceHost {
    private ReferenceHost() {
    }

    public static void main(String[] args) {
        TranscoderSessionNative lib;
        try {
            lib = new TranscoderSessionNative();
        } catch (UnsatisfiedLinkError e) {
            System.err.println("cannot load the transcoder library: " + e.getMessage());
            System.exit(2);
            return;
        }
        lib.nativeInitialize();
        long session = lib.createInstance();
        if (session == 0) {
            System.err.println("the library could not create a session");
            System.exit(1);
        }
        List<TranscoderLogStatement> log = new ArrayList<>();
        lib.getLogStatements(session, log);
        for (TranscoderLogStatement s : log) {
            System.out.println("level " + s.level + ": " + s.format("session"));
        }
        lib.destroyInstance(session);
    }
}
