package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import org.junit.jupiter.api.Test;

/** The parameter frame with no codec behind it: every call answers 0 and touches nothing. */
class ParameterExchangeTest extends NativeTestBase {

    interface Exchange {
        long apply(long session, TranscoderNativeParameterValue[] values);
    }

    private final Exchange[] exchanges = {
        (s, v) -> lib.videoDecoderSetParameterValues(s, v),
        (s, v) -> lib.videoDecoderGetParameterValues(s, v),
        (s, v) -> lib.audioDecoderSetParameterValues(s, v),
        (s, v) -> lib.audioDecoderGetParameterValues(s, v),
        (s, v) -> lib.videoEncoderSetParameterValues(s, 0, v),
        (s, v) -> lib.videoEncoderGetParameterValues(s, 0, v),
        (s, v) -> lib.audioEncoderSetParameterValues(s, 0, v),
        (s, v) -> lib.audioEncoderGetParameterValues(s, 0, v),
        (s, v) -> lib.videoEncoderSetParameterValues(s, 12345, v),
        (s, v) -> lib.audioEncoderGetParameterValues(s, -1, v),
    };

    @Test
    void withoutACodecEveryExchangeAnswersZeroAndLeavesTheRecords() {
        for (Exchange exchange : exchanges) {
            TranscoderNativeParameterValue query = TranscoderNativeParameterValue.query(10036);
            query.dataType = 7;
            TranscoderNativeParameterValue set = TranscoderNativeParameterValue.ofLongArray(10036, new long[] {1, 2});
            TranscoderNativeParameterValue[] records = {query, set, null};
            assertEquals(0L, exchange.apply(session, records));
            assertEquals(0L, exchange.apply(0, records));
            assertEquals(7, query.dataType);
            assertNull(query.larValue);
            assertArrayEquals(new long[] {1, 2}, set.larValue);
        }
    }

    @Test
    void emptyAndNullArraysAnswerZeroEvenWithAZeroHandle() {
        for (Exchange exchange : exchanges) {
            assertEquals(0L, exchange.apply(0, new TranscoderNativeParameterValue[0]));
            assertEquals(0L, exchange.apply(session, new TranscoderNativeParameterValue[0]));
            assertEquals(0L, exchange.apply(session, null));
        }
    }
}
