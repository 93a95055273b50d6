// Makes a damaged bundle store anew from what is installed.
#ifndef TAVOMEND_PORTS_HOST_STORE_REBUILD_H
#define TAVOMEND_PORTS_HOST_STORE_REBUILD_H

#include <memory>
#include <string>

#include "ports/host/bundle_store.h"

namespace ORVX::TavomendHost {
// Where a new store grows until it is whole.
const std::string NEW_BUNDLE_STORE_PATH = std::string(BUNDLE_STORE_PATH) + ".new";

// Makes a store there, over what an attempt that was cut short has left, of what is installed: `count` bundles below
// /data/app, the highest version of each, and the accounts, at least one. What bundle files do not tell comes from the
// notes beside them. False with one line for people, also when not everything could be read.
[[nodiscard]] bool MakeNewStore(size_t& count, std::string& error);
// Puts the new store, which nobody has open any more, in the store's place, for good. False with one line for people:
// the former one is still there then, or the new one stands and may not survive a power cut.
[[nodiscard]] bool PutNewStoreInPlace(std::string& error);

// For a boot, before anybody uses the store: makes a new one of what is installed; applications that run their factory
// files are for the scan to register. The damaged store is kept under another name, which `notice`, a line for people,
// tells. Null when not everything could be read: the damaged store stays, fault.text then says why, and nothing else
// has changed. A store that turns out to be whole (another process was first) is given as it is, without a notice.
[[nodiscard]] std::shared_ptr<BundleStore> RebuildStore(StoreFault& fault, std::string& notice);
} // namespace ORVX::TavomendHost

#endif
