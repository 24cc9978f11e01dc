#include "platform/platform.h"
#include "platform/windowsHeaders.h"

#ifndef ENABLE_VIRTUAL_TERMINAL_PROCESSING // headers older than Windows 10 lack it
#define ENABLE_VIRTUAL_TERMINAL_PROCESSING 0x0004
#endif

namespace fus::platform {

bool prepareTerminal() {
    const HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(console, &mode) != 0 &&
           SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

bool terminalSize(unsigned& columns, unsigned& rows) {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) == 0)
        return false;
    const int width = info.srWindow.Right - info.srWindow.Left + 1;
    const int height = info.srWindow.Bottom - info.srWindow.Top + 1;
    if (width <= 0 || height <= 0)
        return false;
    columns = static_cast<unsigned>(width);
    rows = static_cast<unsigned>(height);
    return true;
}

} // namespace fus::platform
