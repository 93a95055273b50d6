// Chooses the call of a program at which it is cut off.
#ifndef TAVOMEND_INSTRUMENTS_POWERCUT_CUTTER_H
#define TAVOMEND_INSTRUMENTS_POWERCUT_CUTTER_H

#include <string>

#include "instruments/powercut/journal.h"
#include "instruments/powercut/mode.h"
#include "instruments/powercut/system_call.h"

namespace ORVX::TavomendTest {
// Lets everything pass up to the n-th call of the mode's kind, from 1 on. For one run of a tracer.
class Cutter : public CallWatcher {
public:
    static constexpr int NEVER = 1 << 30;

    // journal: may be null; is told of every call that runs.
    Cutter(const Mode& mode, int at, Journal* journal) : mode_(mode), at_(at), journal_(journal) {}

    Verdict Before(const SystemCall& call) override;
    void After(const SystemCall& call, int64_t result) override;
    [[nodiscard]] int Error() const override;
    // Those of the mode's kind.
    [[nodiscard]] int Calls() const { return count_; }
    // Where it was cut off, for people; empty when it was not.
    [[nodiscard]] const std::string& LastCall() const { return lastCall_; }

private:
    bool Count(const SystemCall& call);

    const Mode& mode_;
    const int at_;
    Journal* const journal_;
    int count_ = 0;
    std::string lastCall_;
};
} // namespace ORVX::TavomendTest

#endif
