#include "platform/icmpPacket.h"

#include <cstring>

namespace fus::platform {

namespace {

constexpr std::size_t HEADER_SIZE = 8;
constexpr unsigned TYPE_ECHO_REPLY = 0;
constexpr unsigned TYPE_UNREACHABLE = 3;
constexpr unsigned TYPE_ECHO_REQUEST = 8;
constexpr unsigned TYPE_TIME_EXCEEDED = 11;
constexpr unsigned TYPE_PARAMETER_PROBLEM = 12;
constexpr unsigned ANY_CODE = 256;

struct ErrorRow {
    unsigned type;
    unsigned code;
    EchoStatus status;
};

constexpr EchoStatus NET_UNREACHABLE = {11002, "Destination net unreachable."};
constexpr EchoStatus HOST_UNREACHABLE = {11003, "Destination host unreachable."};

constexpr ErrorRow ERRORS[] = {
    {TYPE_UNREACHABLE, 0, NET_UNREACHABLE},
    {TYPE_UNREACHABLE, 1, HOST_UNREACHABLE},
    {TYPE_UNREACHABLE, 2, {11004, "Destination protocol unreachable."}},
    {TYPE_UNREACHABLE, 3, {11005, "Destination port unreachable."}},
    {TYPE_UNREACHABLE, 4, {11009, "Packet needs to be fragmented but DF set."}},
    {TYPE_UNREACHABLE, 5, {11012, "Bad route."}},
    {TYPE_UNREACHABLE, 6, NET_UNREACHABLE},
    {TYPE_UNREACHABLE, 9, NET_UNREACHABLE},
    {TYPE_UNREACHABLE, 11, NET_UNREACHABLE},
    {TYPE_UNREACHABLE, ANY_CODE, HOST_UNREACHABLE},
    {TYPE_TIME_EXCEEDED, 1, {11014, "TTL expired during reassembly."}},
    {TYPE_TIME_EXCEEDED, ANY_CODE, {11013, "TTL expired in transit."}},
    {TYPE_PARAMETER_PROBLEM, ANY_CODE, {11015, "Parameter problem."}},
};

constexpr EchoStatus GENERAL_FAILURE = {11050, "General failure."};

unsigned wordAt(const std::uint8_t* bytes) {
    return (static_cast<unsigned>(bytes[0]) << 8) | bytes[1];
}

void putWord(std::uint8_t* bytes, unsigned word) {
    bytes[0] = static_cast<std::uint8_t>(word >> 8);
    bytes[1] = static_cast<std::uint8_t>(word & 0xFF);
}

unsigned checksum(const std::vector<std::uint8_t>& bytes) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        sum += i % 2 == 0 ? static_cast<std::uint32_t>(bytes[i]) << 8 : bytes[i];
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return ~sum & 0xFFFF;
}

bool hasOurHeader(const EchoRequest& request, const std::uint8_t* message, unsigned type,
                  bool anyId) {
    return message[0] == type && message[1] == 0 && (anyId || wordAt(message + 4) == request.id) &&
           wordAt(message + 6) == request.sequence;
}

bool isOurEcho(const EchoRequest& request, const std::uint8_t* message, std::size_t size,
               bool anyId) {
    return hasOurHeader(request, message, TYPE_ECHO_REPLY, anyId) &&
           size == HEADER_SIZE + request.size &&
           (request.size == 0 ||
            std::memcmp(message + HEADER_SIZE, request.payload, request.size) == 0);
}

/// An ICMP error carries the IP header of the packet that failed and at least 8 bytes behind it.
bool quotesOurRequest(const EchoRequest& request, const std::uint8_t* message, std::size_t size,
                      bool anyId) {
    const std::uint8_t* quoted = message + HEADER_SIZE;
    const std::size_t quotedSize = size - HEADER_SIZE;
    const std::size_t ipHeader = ipv4HeaderSize(quoted, quotedSize);
    return ipHeader != 0 && quotedSize >= ipHeader + HEADER_SIZE &&
           hasOurHeader(request, quoted + ipHeader, TYPE_ECHO_REQUEST, anyId);
}

} // namespace

std::vector<std::uint8_t> buildEchoRequest(const EchoRequest& request) {
    std::vector<std::uint8_t> message(HEADER_SIZE + request.size, 0);
    message[0] = TYPE_ECHO_REQUEST;
    putWord(&message[4], request.id);
    putWord(&message[6], request.sequence);
    if (request.size > 0)
        std::memcpy(&message[HEADER_SIZE], request.payload, request.size);
    putWord(&message[2], checksum(message));
    return message;
}

EchoMatch matchEchoReply(const EchoRequest& request, const std::uint8_t* message, std::size_t size,
                         bool anyId, EchoStatus& status) {
    if (size < HEADER_SIZE)
        return EchoMatch::FOREIGN;
    if (isOurEcho(request, message, size, anyId))
        return EchoMatch::ECHO;
    if (!isDeliveryError(message[0]) || !quotesOurRequest(request, message, size, anyId))
        return EchoMatch::FOREIGN;
    status = echoErrorStatus(message[0], message[1]);
    return EchoMatch::ERROR;
}

std::size_t ipv4HeaderSize(const std::uint8_t* packet, std::size_t size) {
    constexpr std::size_t LEAST = 20;
    if (size < LEAST || packet[0] >> 4 != 4)
        return 0;
    const std::size_t length = static_cast<std::size_t>(packet[0] & 0x0F) * 4;
    return length >= LEAST && length <= size ? length : 0;
}

EchoStatus echoErrorStatus(unsigned type, unsigned code) {
    for (const ErrorRow& row : ERRORS)
        if (row.type == type && (row.code == code || row.code == ANY_CODE))
            return row.status;
    return GENERAL_FAILURE;
}

bool isDeliveryError(unsigned type) {
    return type == TYPE_UNREACHABLE || type == TYPE_TIME_EXCEEDED || type == TYPE_PARAMETER_PROBLEM;
}

} // namespace fus::platform
