// New content as a difference brings it: stretches that follow old content, and bytes of their own between them.
#ifndef TAVOMEND_DIFF_DELTA_STREAM_H
#define TAVOMEND_DIFF_DELTA_STREAM_H

#include "diff/delta_coder.h"
#include "diff/extra_reader.h"
#include "diff/header_prediction.h"
#include "diff/range_coder.h"

namespace ORVX::Difference {
// What all streams of one difference read from.
struct DeltaSource {
    explicit DeltaSource(ByteSource& coded) : decoder(coded) {}

    RangeDecoder decoder;
    DeltaModel model;
    ExtraReader extra;
};

// One of the two streams of a difference: its raw stretches, or those of the entries' content. Both take from the same
// source, in the order in which the applier needs them. For one thread.
class DeltaStream {
public:
    // The kinds of the three numbers that begin a stretch.
    struct Kinds {
        NumberKind seek;
        NumberKind delta;
        NumberKind extra;
    };
    static constexpr Kinds RAW = {NumberKind::RAW_SEEK, NumberKind::RAW_DELTA, NumberKind::RAW_EXTRA};
    static constexpr Kinds PLAIN = {NumberKind::PLAIN_SEEK, NumberKind::PLAIN_DELTA, NumberKind::PLAIN_EXTRA};

    DeltaStream(DeltaSource& source, const Kinds& kinds) : source_(source), kinds_(kinds) {}

    // From now on old bytes are the base's as foretold. outputPosition: of the bytes that the next Read gives.
    void FollowHeaders(HeaderPrediction* headers, uint64_t outputPosition)
    {
        headers_ = headers;
        outputPosition_ = outputPosition;
    }

    // Gives the next bytes. old: the old content that can be reached now, oldStart: the position of its first byte.
    // DIFFERENCE_DAMAGED when a stretch is empty, leads out of the old content or ends early; room is undefined then.
    [[nodiscard]] DifferenceResult Read(ByteView old, uint64_t oldStart, uint8_t* room, size_t size);

private:
    [[nodiscard]] DifferenceResult BeginStretch();
    [[nodiscard]] DifferenceResult ReadDelta(ByteView old, uint64_t oldStart, uint8_t* room, size_t size);

    DeltaSource& source_;
    Kinds kinds_;
    DeltaCoder coder_;
    uint64_t position_ = 0;
    uint64_t delta_ = 0;
    uint64_t extra_ = 0;
    HeaderPrediction* headers_ = nullptr; // none: old bytes are as they are
    uint64_t outputPosition_ = 0;
};
} // namespace ORVX::Difference

#endif
