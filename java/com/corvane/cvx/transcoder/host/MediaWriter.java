package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.AudioPacket;
import com.corvane.cvx.transcoder.VideoPacket;

import java.io.IOException;

/**
 * A container writer for one rendition. Packets arrive as the library gives
 * them: video in decode order with presentation timecodes in milliseconds,
 * audio with sample positions. The writer orders the two streams itself.
 */
public interface MediaWriter extends AutoCloseable {
    void writeVideo(VideoPacket packet) throws IOException;

    void writeAudio(AudioPacket packet) throws IOException;

    /** Flushes what the writer still holds and completes the file. */
    @Override
    void close() throws IOException;

    /** The video written so far. */
    VideoSpan videoSpan();

    /** Bytes written into completed files so far. */
    long bytesWritten();
}
