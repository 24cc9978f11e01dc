#pragma once

#include "Arguments.h"

#include "fus/FUS.h"
#include "fus/FUSException.h"

#include <functional>
#include <string>

namespace fus::tool {

/// A connection to a generator, for as long as this lives. There can be only one.
///
/// No definition is loaded when it is made, nor one that was loaded before: a definition would be
/// written into the generator at connect.
class Link {
public:
    /// Of the options `--timeout`, and the operand that is the address.
    Link(const Arguments& arguments, const std::string& address);
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    FUS& fus() const { return FUS::getInstance(); }
    Generator& generator() const { return fus().getGenerator(); }
    const Address& address() const { return m_address; }

    /// What a FUSException means that came of this connection: a line for the user.
    std::string described(const FUSException& error) const;

    /// Connects once more, after the generator has closed the connection. Both throw ToolError,
    /// with the library's reason, if no generator answers.
    void connect();

private:
    Address m_address;
    unsigned m_timeout;
};

/// Connects to the generator at an address, and does something with it. A FUSException that comes
/// out of it becomes a ToolError that says what it means.
int overLink(const Arguments& arguments, const std::string& address,
             const std::function<int(Link& link)>& action);

} // namespace fus::tool
