// What a command line says of differences that were made before.
#ifndef TAVOMEND_APPS_TVPK_CACHE_CHOICE_H
#define TAVOMEND_APPS_TVPK_CACHE_CHOICE_H

#include <string>

#include "diff/difference_maker.h"

namespace ORVX::Tvpk {
struct CacheChoice {
    std::string folder; // empty: nothing is kept
    int sizeMax = 1024; // MiB

    void ApplyTo(Difference::DifferenceOptions& options) const
    {
        options.cacheFolder = folder;
        options.cacheMax = static_cast<uint64_t>(sizeMax) << 20;
    }
};
} // namespace ORVX::Tvpk

#endif
