#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The bytes of ICMP echo, apart from the sockets that move them.
namespace fus::platform {

struct EchoRequest {
    std::uint16_t id;
    std::uint16_t sequence;
    const void* payload;
    std::size_t size;
};

/// Number and text of a reply that isn't the echo.
struct EchoStatus {
    std::int32_t status;
    const char* text;
};

enum class EchoMatch {
    FOREIGN, ///< belongs to somebody else
    ECHO,    ///< the reply to this request
    ERROR    ///< a router or the host itself reports that it couldn't be delivered
};

/// The ICMP message (no IP header) with its checksum.
std::vector<std::uint8_t> buildEchoRequest(const EchoRequest& request);

/// What an ICMP message (no IP header) means for this request. With `anyId` the id isn't compared:
/// sockets whose id the system chooses get only their own. `status` is set for ERROR.
EchoMatch matchEchoReply(const EchoRequest& request, const std::uint8_t* message, std::size_t size,
                         bool anyId, EchoStatus& status);

/// Length of the IPv4 header that a packet starts with, 0 if it isn't a whole one.
std::size_t ipv4HeaderSize(const std::uint8_t* packet, std::size_t size);

/// Status of an ICMP error by its type and code.
EchoStatus echoErrorStatus(unsigned type, unsigned code);

/// Whether an ICMP type reports that a packet wasn't delivered.
bool isDeliveryError(unsigned type);

} // namespace fus::platform
