// The host platform's own lines in the platform log.
#ifndef TAVOMEND_PORTS_HOST_HOST_MESSAGE_H
#define TAVOMEND_PORTS_HOST_HOST_MESSAGE_H

#include <string>

#include "platform/api/kalog.h"

namespace ORVX::TavomendHost {
inline void HostMessage(KalogLevel level, const std::string& message)
{
    KalogPrint(KALOG_TYPE_CORE, level, 0xD002E04, "TavomendHost", "%{public}s", message.c_str());
}
} // namespace ORVX::TavomendHost

#endif
