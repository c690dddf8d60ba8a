package com.corvane.cvx.transcoder.model;

/**
 * One log line drained from the library. The text may hold the literal token
 * {@code {context}}, which a host replaces with its own name for the writer
 * given by {@link #contextType} and {@link #contextIndex}: -1 process-wide,
 * 0 session, 1 video decoder, 2 video encoder (index = encoder), 3 audio
 * decoder, 4 audio encoder (index = encoder). Levels: 2 progress, 3 faults.
 */
public class TranscoderLogStatement {
    public int level;
    public int contextType;
    public int contextIndex;
    public String statement;

    public TranscoderLogStatement() {
    }

    /** The statement with {@code {context}} replaced by {@code name}. */
    public String format(String name) {
        return statement == null ? "" : statement.replace("{context}", name);
    }

    @Override
    public String toString() {
        return "[" + level + "] (" + contextType + ":" + contextIndex + ") " + statement;
    }
}
