// What the operations of this room answer with: what has become of them, and words for people.
#ifndef TAVOMEND_HOSTING_HOST_RESULT_H
#define TAVOMEND_HOSTING_HOST_RESULT_H

#include <string>

#include "hosting/device_view.h"

namespace ORVX::TavomendHosting {
enum class Outcome {
    DONE,
    NOTHING,     // there was nothing to do, or to tell
    FAILED,      // it was tried
    NO_PLATFORM, // the port's services did not start, so the engine was not asked
    BUSY,        // another process works on the device; nothing was touched
    INTERRUPTED, // at a safe point, because the observer asked for it; the next operation finishes
    NEEDS_BOOT,  // nothing was touched, or what could be done is done: a boot does the rest
};

struct OperationResult {
    Outcome outcome = Outcome::FAILED;
    std::string reason; // one line for people, without a full stop; empty when done
};

// Of a load, or of a load and apply.
struct PatchRunResult : OperationResult {
    StatusView view;         // the status record afterwards; empty without a platform
    bool needReboot = false; // done, and the package that was applied asks for a boot to be complete
};
} // namespace ORVX::TavomendHosting

#endif
