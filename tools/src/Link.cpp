#include "Link.h"

#include "Errors.h"
#include "LibraryLog.h"

#include "fus/FUSException.h"
#include "fus/Generator.h"

namespace fus::tool {

namespace {

constexpr unsigned USUAL_TIMEOUT = 4000; // [ms]
constexpr unsigned LEAST_TIMEOUT = 100;
constexpr unsigned MOST_TIMEOUT = 600000;

} // namespace

Link::Link(const Arguments& arguments, const std::string& address)
    : m_address(parseAddress(address)),
      m_timeout(arguments.number("--timeout", USUAL_TIMEOUT, LEAST_TIMEOUT, MOST_TIMEOUT)) {
    connect();
}

Link::~Link() {
    fus().disconnect();
}

void Link::connect() {
    generator().clearDefinition();
    fus().setDefaultAnswerTimeout(m_timeout);
    LibraryLog::forget();
    try {
        if (fus().connect(m_address.host.c_str(), m_address.port, m_timeout)) {
            return;
        }
    } catch (const FUSException& error) {
        throw ToolError("the generator at " + m_address.text() +
                        " can't be used: " + error.message());
    }
    throw ToolError("no generator answers at " + m_address.text() + ": " + LibraryLog::reason());
}

} // namespace fus::tool
