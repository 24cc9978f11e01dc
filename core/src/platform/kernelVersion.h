#pragma once

#include <string>

/// The names of Windows by the version of its kernel, apart from the asking for it.
namespace fus::platform {

struct KernelVersion {
    unsigned major;
    unsigned minor;
    unsigned build;
    unsigned revision;
};

/// "Windows", the names of the workstation and of the server that have this kernel, its version,
/// and the bits.
std::string windowsName(const KernelVersion& version, bool is64Bits);

/// The same when the version isn't known.
std::string windowsName(bool is64Bits);

} // namespace fus::platform
