package com.corvane.cvx.transcoder.model;

import static org.junit.jupiter.api.Assertions.*;

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

    /**
     * What the boundary converts: a record of data type 9 is skipped, reads come back with their type, arrays
     * with their length but not their contents, and an index no codec knows leaves the record as it was.
     * (How each number reaches its field is the encoder's own unit test.)
     */
    @Test
    void h264SettingsRoundTripWithTheirTypes() {
        TranscoderLongByReference index = new TranscoderLongByReference(-1);
        assertEquals(0L, lib.videoEncoderAdd(session, H264, 0, index));
        assertEquals(0L, lib.videoEncoderSetDefaults(session, 0, 2, 2));
        TranscoderNativeParameterValue skipped = TranscoderNativeParameterValue.ofLong(10069, 7);
        skipped.dataType = 9;
        assertEquals(0L, lib.videoEncoderSetParameterValues(session, 0, new TranscoderNativeParameterValue[] {
            skipped, TranscoderNativeParameterValue.ofLong(10071, -40), TranscoderNativeParameterValue.ofDouble(10008,
                29.97), TranscoderNativeParameterValue.ofLongArray(10036, new long[] {-2, 3, 4, 5, 6, 7, 8, 9})}));

        TranscoderNativeParameterValue bFrames = TranscoderNativeParameterValue.query(10069);
        TranscoderNativeParameterValue bias = TranscoderNativeParameterValue.query(10071);
        TranscoderNativeParameterValue rate = TranscoderNativeParameterValue.query(10008);
        TranscoderNativeParameterValue deblock = TranscoderNativeParameterValue.query(10036);
        TranscoderNativeParameterValue unknown = TranscoderNativeParameterValue.query(10141);
        unknown.dataType = 4;
        unknown.lValue = 55;
        assertEquals(0L, lib.videoEncoderGetParameterValues(session, 0,
                new TranscoderNativeParameterValue[] {bFrames, bias, rate, deblock, unknown}));
        assertEquals(TranscoderNativeParameterValue.TYPE_LONG, bFrames.dataType);
        assertEquals(-1, bFrames.lValue, "the record with data type 9 was skipped: the preset's choice stays");
        assertEquals(-40, bias.lValue);
        assertEquals(TranscoderNativeParameterValue.TYPE_DOUBLE, rate.dataType);
        assertEquals(29.97, rate.dValue);
        assertEquals(TranscoderNativeParameterValue.TYPE_LONG_ARRAY, deblock.dataType);
        assertArrayEquals(new long[4], deblock.larValue);
        assertEquals(4, unknown.dataType);
        assertEquals(55, unknown.lValue);
        // The encoder still opens with what arrived.
        assertEquals(0L, lib.videoEncoderSetFrameSize(session, 0, 160, 120));
        assertEquals(0L, lib.videoEncoderInitialize(session, 0));
    }
}
