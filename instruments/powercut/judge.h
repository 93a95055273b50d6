// Says whether a device is what it was before an operation, or what it is to be afterwards, or something between.
#ifndef TAVOMEND_INSTRUMENTS_POWERCUT_JUDGE_H
#define TAVOMEND_INSTRUMENTS_POWERCUT_JUDGE_H

#include <string>

namespace ORVX::TavomendTest {
// Three texts, each a line an entry, sorted. The log, the bytes of the store and the history in the status record are
// left out: they tell more than what is.
struct DeviceState {
    std::string applications; // what the bundle service says, and each file's SHA-256
    std::string patch;        // version and status word of the record, the package directory's files
    std::string rest;         // all other files and directories, such as what lies about below /data/app
};

// Reads a device; `tavomend` lists its applications.
[[nodiscard]] DeviceState ReadDeviceState(const std::string& deviceFolder);

// Empty when the state is one of the two: applications and patch both old or both new, the rest of either. isSettled:
// the rest counts. Otherwise the first difference, for people.
struct Expectation {
    DeviceState before;
    DeviceState after;
};
[[nodiscard]] std::string WhatIsWrong(const DeviceState& found, const Expectation& expected, bool mustBeNew,
                                      bool isSettled);
} // namespace ORVX::TavomendTest

#endif
