#include "platform/platform.h"
#include "platform/windowsHeaders.h"

#include <iphlpapi.h>

#include <icmpapi.h>

#include <cstring>
#include <new>

namespace fus::platform {

namespace {

constexpr DWORD TEXT_ROOM = 128;

bool isEchoStatus(DWORD error) {
    return error >= IP_STATUS_BASE && error <= MAX_IP_STATUS;
}

using TextCall = DWORD(WINAPI*)(DWORD, wchar_t*, DWORD*);

/// Asked for by its name, because Wine doesn't have it; null there.
TextCall textCall() {
    const HMODULE library = GetModuleHandleW(L"iphlpapi.dll");
    if (library == nullptr)
        return nullptr;
    void* const address = reinterpret_cast<void*>(GetProcAddress(library, "GetIpErrorString"));
    return reinterpret_cast<TextCall>(address);
}

/// Empty if the system has no text for the status.
std::string echoStatusText(DWORD status) {
    static const TextCall getIpErrorString = textCall();
    wchar_t wide[TEXT_ROOM] = {};
    DWORD length = TEXT_ROOM - 1;
    if (getIpErrorString == nullptr || getIpErrorString(status, wide, &length) != NO_ERROR)
        return {};
    char narrow[TEXT_ROOM] = {};
    WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow, TEXT_ROOM - 1, nullptr, nullptr);
    return narrow;
}

EchoResult failure(EchoStage stage, DWORD error) {
    EchoResult result;
    result.stage = stage;
    result.error = static_cast<int>(error);
    // an echo's own numbers have other meanings in the system's table
    if (isEchoStatus(error))
        result.errorText = echoStatusText(error);
    if (result.errorText.empty())
        result.errorText = socketErrorText(result.error);
    return result;
}

EchoResult replied(const ICMP_ECHO_REPLY& reply) {
    EchoResult result;
    result.stage = EchoStage::REPLIED;
    result.status = static_cast<std::int32_t>(reply.Status);
    result.roundTrip = static_cast<std::int32_t>(reply.RoundTripTime);
    if (reply.Status != IP_SUCCESS)
        result.statusText = echoStatusText(reply.Status);
    return result;
}

class IcmpFile {
public:
    IcmpFile() : m_handle(IcmpCreateFile()) {}
    IcmpFile(const IcmpFile&) = delete;
    IcmpFile& operator=(const IcmpFile&) = delete;
    ~IcmpFile() {
        if (isOpen())
            IcmpCloseHandle(m_handle);
    }

    bool isOpen() const { return m_handle != INVALID_HANDLE_VALUE; }
    HANDLE handle() const { return m_handle; }

private:
    const HANDLE m_handle;
};

} // namespace

EchoResult icmpEcho(std::uint32_t address, const void* payload, std::size_t size,
                    std::size_t replySize, unsigned timeoutMs) {
    const std::unique_ptr<std::uint8_t[]> buffer(new (std::nothrow) std::uint8_t[replySize]);
    if (!buffer)
        return failure(EchoStage::NO_MEMORY, ERROR_NOT_ENOUGH_MEMORY);
    const IcmpFile file;
    if (!file.isOpen())
        return failure(EchoStage::CANNOT_OPEN, GetLastError());
    if (timeoutMs == 0) // the loopback interface would answer even so
        return failure(EchoStage::FAILED, IP_REQ_TIMED_OUT);
    const DWORD replies = IcmpSendEcho(file.handle(), htonl(address), const_cast<void*>(payload),
                                       static_cast<WORD>(size), nullptr, buffer.get(),
                                       static_cast<DWORD>(replySize), timeoutMs);
    if (replies == 0)
        return failure(EchoStage::FAILED, GetLastError());
    ICMP_ECHO_REPLY reply = {};
    std::memcpy(&reply, buffer.get(), sizeof(reply));
    return replied(reply);
}

} // namespace fus::platform
