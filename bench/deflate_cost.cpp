// Times what no archive-aware difference gets around: inflating the old counterparts of the changed entries and
// deflating the changed entries; and, beside it, applying the difference as a whole.
//   bench_deflate_cost OLD NEW DIFF OUT
// Writes: seconds inflating and deflating, seconds applying; each the best of several runs.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <limits>

#include "diff/difference_applier.h"
#include "diff/difference_header.h"
#include "diff/difference_plan.h"
#include "diff/mapped_file.h"
#include "diff/raw_deflate.h"

namespace {
using namespace ORVX;
using namespace ORVX::Difference;

constexpr int RUNS = 9;

template <class Work>
double BestSeconds(const Work& work)
{
    double best = std::numeric_limits<double>::max();
    for (int i = 0; i < RUNS; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
        best = std::min(best, elapsed.count());
    }
    return best;
}

bool InflatePieces(const Difference::DifferencePlan& plan, ByteView old)
{
    Difference::Bytes room;
    RawInflater inflater;
    for (const Difference::OldPiece& piece : plan.pieces) {
        room.resize(piece.plainSize + 1);
        size_t written = 0;
        if (piece.isDeflated && (!inflater.Begin({old.data + piece.offset, piece.compressedSize}) ||
                                 inflater.Read(room.data(), room.size(), written) != RawInflater::Status::END)) {
            return false;
        }
    }
    return true;
}

bool DeflateRegions(const Difference::DifferencePlan& plan)
{
    RawDeflater deflater;
    const uint8_t* plain = plan.newPlain.data();
    for (const Difference::Region& region : plan.regions) {
        if (region.level != 0 && (!deflater.Begin(region.level) ||
                                  !deflater.Write({plain, region.plainSize}, true, [](ByteView) { return true; }))) {
            return false;
        }
        plain += region.plainSize;
    }
    return true;
}
} // namespace

int main(int argc, char** argv)
{
    const auto old = argc == 5 ? MappedFile::Open(argv[1]) : std::nullopt;
    const auto fresh = argc == 5 ? MappedFile::Open(argv[2]) : std::nullopt;
    if (!old.has_value() || !fresh.has_value()) {
        std::fprintf(stderr, "usage: bench_deflate_cost OLD NEW DIFF OUT\n");
        return 2;
    }
    const Difference::DifferencePlan plan = Difference::MakeDifferencePlan(
        old->View(), fresh->View(), {Difference::DIFFERENCE_WINDOW_USUAL, false}, [](size_t, size_t) {});
    bool isGood = true;
    const double own =
        BestSeconds([&] { isGood = InflatePieces(plan, old->View()) && DeflateRegions(plan) && isGood; });
    const double apply = BestSeconds([&] { isGood = ApplyDifference(argv[3], argv[1], argv[4]) == 0 && isGood; });
    std::printf("%.4f %.4f\n", own, apply);
    return isGood ? 0 : 1;
}
