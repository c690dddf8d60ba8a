package com.corvane.cvx.transcoder;

import java.util.logging.Logger;

/**
 * Where a session's log lines go when it drains them. Any logging system plugs in with a lambda, for
 * example {@code entry -> slf4j.warn("{}", entry.message())}; the default is {@link #javaLogging()}.
 * A sink may be called from any thread that drains the log, and must not call back into the session.
 */
@FunctionalInterface
public interface LogSink {
    void accept(LogEntry entry);

    /** java.util.logging's "com.corvane.cvx.transcoder" logger: faults as WARNING, progress as FINE. */
    static LogSink javaLogging() {
        Logger logger = Logger.getLogger("com.corvane.cvx.transcoder");
        return entry -> logger.log(entry.isFault() ? java.util.logging.Level.WARNING : java.util.logging.Level.FINE,
                entry.message());
    }

    /** Drops every line; faults still reach {@link TranscoderException#lastFault()}. */
    static LogSink discard() {
        return entry -> {
        };
    }
}
