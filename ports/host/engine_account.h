// The account that the engine's files belong to, in a system's own account files.
#ifndef TAVOMEND_PORTS_HOST_ENGINE_ACCOUNT_H
#define TAVOMEND_PORTS_HOST_ENGINE_ACCOUNT_H

#include <string>

namespace ORVX::TavomendHost {
// Adds the account and its group to the files of the current root where they are missing: number 1011 when it is free,
// else one of the system's own numbers. Nobody can log in by it. Entries that are there stay as they are; so do the
// modes and owners of the files, and files for passwords are not made where there are none. Needs root and asks no name
// service. The account itself comes last: what was cut short is gone on with by the next call. isAdded: whether
// anything was written. False with one line for people; each file is whole then, with its entry or without.
[[nodiscard]] bool AddEngineAccount(bool& isAdded, std::string& error);
} // namespace ORVX::TavomendHost

#endif
