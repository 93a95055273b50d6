// What a command line says of how differences are made: nothing of it changes what comes out.
#ifndef TAVOMEND_APPS_TVPK_WORK_CHOICE_H
#define TAVOMEND_APPS_TVPK_WORK_CHOICE_H

#include <string>

#include "diff/difference_maker.h"

namespace ORVX::Tvpk {
struct WorkChoice {
    int memory = 0;          // MiB; 0: a quarter of the machine's
    std::string cacheFolder; // empty: nothing is kept
    int cacheMax = 1024;     // MiB

    void ApplyTo(Difference::DifferenceOptions& options) const
    {
        options.memory = static_cast<uint64_t>(memory) << 20;
        options.cacheFolder = cacheFolder;
        options.cacheMax = static_cast<uint64_t>(cacheMax) << 20;
    }
};
} // namespace ORVX::Tvpk

#endif
