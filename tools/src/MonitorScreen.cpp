// The monitor on a terminal.

#include "MonitorOutput.h"

#include "MonitorPicture.h"

#include <optional>

namespace fus::tool {

namespace {

// A second screen, so that the first one stays as it was; cursor off, and all of it empty.
constexpr const char* ENTER = "\x1b[?1049h\x1b[?25l\x1b[2J";
constexpr const char* LEAVE = "\x1b[?25h\x1b[?1049l";

class ScreenOutput : public MonitorOutput {
public:
    ScreenOutput(Console& console, std::string title, std::string pace)
        : m_console(console), m_title(std::move(title)), m_pace(std::move(pace)) {
        m_console.out << ENTER;
    }
    ~ScreenOutput() override {
        m_console.out << LEAVE;
        if (m_last) {
            m_console.out << plainText(draw(m_pace + '.', {m_size.columns, ENDLESS}));
        }
        m_console.out.flush();
    }
    ScreenOutput(const ScreenOutput&) = delete;
    ScreenOutput& operator=(const ScreenOutput&) = delete;

    void show(const Reading& reading) override {
        m_last = reading;
        ++m_count;
        redraw();
    }

    void refresh() override {
        const sysinfos::TerminalSize size = m_console.terminalSize();
        if (m_last && (size.columns != m_size.columns || size.rows != m_size.rows)) {
            redraw();
        }
    }

private:
    static constexpr unsigned ENDLESS = 1000000; // rows of a screen that scrolls

    Picture draw(const std::string& footer, sysinfos::TerminalSize size) const {
        const std::string time = m_last->time.substr(m_last->time.find('T') + 1);
        return drawPicture(
            *m_last, {m_title + "   " + time, "Reading " + std::to_string(m_count) + ", " + footer},
            size);
    }

    void redraw() {
        m_size = m_console.terminalSize();
        m_console.out << controlText(draw(m_pace + ". Ctrl-C ends.", m_size)) << std::flush;
    }

    Console& m_console;
    const std::string m_title;
    const std::string m_pace;
    std::optional<Reading> m_last;
    unsigned m_count = 0;
    sysinfos::TerminalSize m_size; // that the last picture was drawn for
};

} // namespace

std::unique_ptr<MonitorOutput> makeScreenOutput(Console& console, const std::string& title,
                                                const std::string& pace) {
    return std::make_unique<ScreenOutput>(console, title, pace);
}

} // namespace fus::tool
