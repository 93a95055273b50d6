#include "instruments/powercut/cutter.h"

#include <cerrno>

namespace ORVX::TavomendTest {
using Kind = SystemCall::Kind;

CallWatcher::Verdict Cutter::Before(const SystemCall& call)
{
    const bool isCut = Count(call);
    if (isCut && lastCall_.empty()) {
        lastCall_ = call.name + " " + call.path + (call.newPath.empty() ? "" : " to " + call.newPath);
    }
    if (call.kind == Kind::SPACE) {
        return mode_.cut == Mode::Cut::NO_ROOM && count_ >= at_ ? Verdict::NO_ROOM : Verdict::RUN;
    }
    if (isCut) {
        return mode_.cut == Mode::Cut::KILL   ? Verdict::KILL
               : mode_.cut == Mode::Cut::TEAR ? Verdict::TEAR
                                              : Verdict::FAIL;
    }
    if (journal_ != nullptr) {
        journal_->Before(call);
    }
    return Verdict::RUN;
}

void Cutter::After(const SystemCall& call, int64_t result)
{
    if (journal_ != nullptr && mode_.cut != Mode::Cut::TEAR) {
        journal_->After(call, result);
    }
}

int Cutter::Error() const
{
    return mode_.cut == Mode::Cut::NO_ROOM ? ENOSPC : EIO;
}

// The log's lines are no points: what is on disk between two of them is the same.
bool Cutter::Count(const SystemCall& call)
{
    const bool isLog = call.path.find("/data/log/") != std::string::npos;
    const bool isFull = mode_.cut == Mode::Cut::NO_ROOM;
    const bool isPoint = !isLog && call.kind != Kind::SPACE && (!isFull || call.isGrowing) &&
                         (mode_.cut != Mode::Cut::TEAR || call.kind == Kind::WRITE);
    count_ += isPoint ? 1 : 0;
    return isFull ? call.isGrowing && count_ >= at_ : isPoint && count_ == at_;
}
} // namespace ORVX::TavomendTest
