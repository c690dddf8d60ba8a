package com.corvane.cvx.transcoder;

/** Takes an encoder's packets as they come out; may throw what its own writing throws. */
@FunctionalInterface
public interface PacketSink<P, X extends Exception> {
    void accept(P packet) throws X;
}
