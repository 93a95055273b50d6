// The wish to take single applications of the patch in force back, which waits on the device for its next boot. The
// engine writes the recover list for them, and the next scan takes them back. On the device root, on one thread.
#ifndef TAVOMEND_HOSTING_REVOKE_REQUEST_H
#define TAVOMEND_HOSTING_REVOKE_REQUEST_H

#include <set>
#include <string>

#include "engine/i_engine_app.h"
#include "hosting/host_observer.h"

namespace ORVX::TavomendHosting {
// {"list": ["NAME", ...]}, as in the recover list.
constexpr const char* REVOKE_REQUEST = "/data/update/tavomend/app/revoke_request.json";

// The applications asked for; empty without a request, or with one that cannot be read.
[[nodiscard]] std::set<std::string> ReadRevokeRequest();
// In place of an earlier request, on disk when this returns true; no names, no request. False when the device could not
// be written: the earlier request stays.
[[nodiscard]] bool WriteRevokeRequest(const std::set<std::string>& bundleNames);
// The applications of the recover list in force.
[[nodiscard]] std::set<std::string> TakenBack();

// Hands a request to the engine, which has loaded in this process at the system-service stage, with the platform
// running and no package delivered; tells the observer, if there is one. Applications that were taken back before stay
// on the list. A request is gone once the list is on disk; so are names that are none of the patch in force. Without a
// request nothing happens. False when it could not be carried out, with one line for people: the request stays.
[[nodiscard]] bool HandOverRevokeRequest(TavomendEngine::IEngineApp& engine, IHostObserver* observer,
                                         std::string& error);
} // namespace ORVX::TavomendHosting

#endif
