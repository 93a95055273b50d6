// Keeping others from writing to a file that is being read.
#ifndef TAVOMEND_HANDLES_READ_LEASE_H
#define TAVOMEND_HANDLES_READ_LEASE_H

#include <csignal>
#include <fcntl.h>

namespace ORVX::Handles {
// A lease, fcntl(2), on a file that is open for reading: whoever opens it for writing, or cuts it, waits until the
// lease is given back or the descriptor closed, or as long as the system has them wait at most
// (/proc/sys/fs/lease-break-time). One a descriptor.

// False while somebody has the file open for writing, for a file of another account (without CAP_LEASE), and on file
// systems that have no leases. Of who wants to write to it later we are told by a signal: one that does nothing, where
// the usual one would end the process.
[[nodiscard]] inline bool TakeReadLease(int file)
{
    return fcntl(file, F_SETSIG, SIGURG) == 0 && fcntl(file, F_SETLEASE, F_RDLCK) == 0;
}

// False from when somebody waits to write.
[[nodiscard]] inline bool HasReadLease(int file)
{
    return fcntl(file, F_GETLEASE) == F_RDLCK;
}

// False when it was there no longer: somebody waited for so long that the system let them in.
[[nodiscard]] inline bool GiveReadLeaseBack(int file)
{
    return fcntl(file, F_SETLEASE, F_UNLCK) == 0;
}
} // namespace ORVX::Handles

#endif
