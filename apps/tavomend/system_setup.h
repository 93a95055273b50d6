// Makes a system a device: this machine, or the image of one that is being built.
#ifndef TAVOMEND_APPS_TAVOMEND_SYSTEM_SETUP_H
#define TAVOMEND_APPS_TAVOMEND_SYSTEM_SETUP_H

#include <string>

#include "apps/tavomend/session.h"

namespace ORVX::TavomendCli {
// On a session that has not entered its device; its folder is the system's root. Makes what is missing: directories,
// the engine's account, the public key (a PEM file; may be empty), and the bundle store, with the factory applications
// below /system/app. Nothing of the system is executed, so that an image may be for other processors. What is there
// stays, os-release(5) above all, which tells the base version; a second run changes nothing. Fails where os-release
// tells no version, and on a public key other than the one that is there. After a failure what was made is gone, but
// for an account that was added. Gives the program's exit code.
[[nodiscard]] int RunSystemInit(Session& session, const std::string& publicKey);
} // namespace ORVX::TavomendCli

#endif
