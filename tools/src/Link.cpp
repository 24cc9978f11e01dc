#include "Link.h"

#include "Attempt.h"
#include "Errors.h"
#include "LibraryLog.h"
#include "Text.h"

#include "fus/FUSException.h"
#include "fus/Generator.h"

namespace fus::tool {

namespace {

constexpr unsigned USUAL_TIMEOUT = 4000; // [ms]
constexpr unsigned LEAST_TIMEOUT = 100;
constexpr unsigned MOST_TIMEOUT = 600000;

/// What is known of a connection can be asked for only as long as its link stands.
bool isLinkOpen() {
    try {
        FUS::getInstance().getProtocolVersion();
        return true;
    } catch (const FUSException&) {
        return false;
    }
}

} // namespace

Link::Link(const Arguments& arguments, const std::string& address)
    : m_address(parseAddress(address)),
      m_timeout(arguments.number("--timeout", USUAL_TIMEOUT, LEAST_TIMEOUT, MOST_TIMEOUT)) {
    connect();
}

Link::~Link() {
    fus().disconnect();
}

/// An answer that a lost link took along is a time-out to the library.
std::string Link::described(const FUSException& error) const {
    if (isLinkLost(error) || (isTimeOut(error) && !isLinkOpen())) {
        return "the link to " + m_address.text() + " was lost";
    }
    if (isTimeOut(error)) {
        return "the generator at " + m_address.text() + " doesn't answer any more";
    }
    return "the generator at " + m_address.text() + ": " + printable(error.message());
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
        // without a definition the library means the measures by it
        const std::string reason =
            error.errorCode() == ERR_CONFIG
                ? "it doesn't tell its measures; over a slow link a longer --timeout may help"
                : printable(error.message());
        throw ToolError("the generator at " + m_address.text() + " can't be used: " + reason);
    }
    throw ToolError("no generator answers at " + m_address.text() + ": " + LibraryLog::reason());
}

int overLink(const Arguments& arguments, const std::string& address,
             const std::function<int(Link& link)>& action) {
    Link link(arguments, address);
    try {
        return action(link);
    } catch (const FUSException& error) {
        throw ToolError(link.described(error));
    }
}

} // namespace fus::tool
