#include "platform/platform.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace fus::platform {

bool prepareTerminal() {
    if (isatty(STDOUT_FILENO) == 0)
        return false;
    const char* const type = std::getenv("TERM"); // NOLINT(concurrency-mt-unsafe): nobody sets it
    return type != nullptr && *type != '\0' && std::string_view(type) != "dumb";
}

bool terminalSize(unsigned& columns, unsigned& rows) {
    struct winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        return false;
    columns = size.ws_col;
    rows = size.ws_row;
    return true;
}

} // namespace fus::platform
