#include "platform/kernelVersion.h"

namespace fus::platform {

namespace {

struct NameRow {
    unsigned number;
    const char* name;
};

/// By major and minor version, and 1 for the workstation where there is a server beside it.
constexpr NameRow NAMES[] = {
    {500, "2000"},        {510, "XP"},
    {520, "Server 2003"}, {600, "Server 2008"},
    {601, "Vista"},       {610, "Server 2008 R2"},
    {611, "7"},           {620, "Server 2012"},
    {621, "8"},           {630, "Server 2012 R2"},
    {631, "8.1"},         {1000, "Server 2016"},
    {1001, "10"},
};

/// The last kernel version that workstations and servers don't share.
constexpr unsigned LAST_OF_ONE_KIND = 510;

std::string nameOf(unsigned number) {
    for (const NameRow& row : NAMES)
        if (row.number == number)
            return row.name;
    return "??";
}

const char* bitsText(bool is64Bits) {
    return is64Bits ? "64bits" : "32bits";
}

} // namespace

std::string windowsName(const KernelVersion& version, bool is64Bits) {
    const unsigned number = (version.major * 10 + version.minor) * 10;
    const std::string workstation = nameOf(number > LAST_OF_ONE_KIND ? number + 1 : number);
    const std::string server = nameOf(number);
    std::string text = "Windows " + workstation;
    if (server != workstation)
        text += " or " + server;
    text += " (" + std::to_string(version.major) + '.' + std::to_string(version.minor) + '.' +
            std::to_string(version.build) + '.' + std::to_string(version.revision) + ") ";
    return text + bitsText(is64Bits);
}

std::string windowsName(bool is64Bits) {
    return std::string("Windows ") + bitsText(is64Bits);
}

} // namespace fus::platform
