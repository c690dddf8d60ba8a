package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.*;

import java.util.*;

import org.junit.jupiter.api.Test;

/** The numbered settings records through the parameter exports: with no codec behind them, and on H.264. */
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
            assertEquals(0L, exchange.apply(0, new TranscoderNativeParameterValue[0]));
            assertEquals(0L, exchange.apply(session, null));
        }
    }

    /** What the boundary converts: type 9 skipped, reads typed, arrays by length only, unknown indices untouched. */
    @Test
    void h264SettingsRoundTripWithTheirTypes() {
        assertEquals(0L, lib.videoEncoderAdd(session, H264, 0, null));
        assertEquals(0L, lib.videoEncoderSetDefaults(session, 0, 2, 2));
        TranscoderNativeParameterValue skipped = TranscoderNativeParameterValue.ofLong(10069, 7);
        skipped.dataType = 9;
        assertEquals(0L, lib.videoEncoderSetParameterValues(session, 0, new TranscoderNativeParameterValue[] {skipped,
            TranscoderNativeParameterValue.ofDouble(10008, 29.97), TranscoderNativeParameterValue.ofLongArray(10036,
                new long[] {-2, 3, 4, 5, 6, 7, 8, 9})}));
        TranscoderNativeParameterValue[] read = {TranscoderNativeParameterValue.query(10069),
            TranscoderNativeParameterValue.query(10008), TranscoderNativeParameterValue.query(10036),
            TranscoderNativeParameterValue.query(10141)};
        read[3].dataType = 4;
        read[3].lValue = 55;
        assertEquals(0L, lib.videoEncoderGetParameterValues(session, 0, read));
        assertEquals(List.of(1, 3, 2, 4), Arrays.stream(read).map(r -> r.dataType).toList(), "the types");
        assertEquals(-1, read[0].lValue, "the record with data type 9 was skipped: the preset's choice stays");
        assertEquals(29.97, read[1].dValue);
        assertArrayEquals(new long[4], read[2].larValue);
        assertEquals(55, read[3].lValue);
        // The encoder still opens with what arrived.
        assertEquals(0L, lib.videoEncoderSetFrameSize(session, 0, 160, 120));
        assertEquals(0L, lib.videoEncoderInitialize(session, 0));
    }
}
