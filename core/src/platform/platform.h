#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

/// Everything that the library asks of an operating system, in terms that each of them can meet.
/// The sources of each system implement it (posix*.cpp, windows*.cpp: the build picks them);
/// nothing above this floor includes a system header. No function throws, except that those which
/// give a `std::string` may run out of memory.
namespace fus::platform {

// ---- Sockets ------------------------------------------------------------------------------------
// Addresses (IPv4) and ports are in host order. Functions with an int result give 0 on success and
// -1 on failure unless they say otherwise; then `lastSocketError` tells why. A call that a signal
// interrupts is resumed inside. No call on a socket raises a signal.

using Socket = std::intptr_t;
constexpr Socket NO_SOCKET = -1;

constexpr std::uint32_t ANY_ADDRESS = 0;
constexpr std::uint32_t LOOPBACK_ADDRESS = 0x7F000001;

// levels and options; the values are the system's
extern const int SOCKET_LEVEL_SOCKET;
extern const int LEVEL_TCP;
extern const int OPTION_RECEIVE_TIMEOUT; ///< at SOCKET_LEVEL_SOCKET: 4 bytes, unsigned [ms]; 0 none
extern const int OPTION_SEND_TIMEOUT;    ///< the same
extern const int OPTION_ERROR;           ///< at SOCKET_LEVEL_SOCKET: int, read only, read once
extern const int OPTION_REUSE_ADDRESS;   ///< at SOCKET_LEVEL_SOCKET: int; a port whose connections
                                         ///< are over may be bound again, one in use never
extern const int OPTION_RECEIVE_BUFFER;  ///< at SOCKET_LEVEL_SOCKET: int [bytes]
extern const int OPTION_SEND_BUFFER;     ///< at SOCKET_LEVEL_SOCKET: int [bytes]
extern const int OPTION_NO_DELAY;        ///< at LEVEL_TCP: int

/// Must come before any other socket call.
int startNetwork();
int stopNetwork();

/// NO_SOCKET on failure. The socket is blocking and isn't inherited by child processes.
Socket openTcpSocket();
int closeSocket(Socket socket);

int bindSocket(Socket socket, std::uint32_t address, std::uint16_t port);

/// Own address and port of a bound socket, address and port of the other end.
int socketName(Socket socket, std::uint32_t& address, std::uint16_t& port);
int peerName(Socket socket, std::uint32_t& address, std::uint16_t& port);

/// On a non-blocking socket the usual outcome is -1 with an error that `isWouldBlock`; `waitSocket`
/// for WAIT_WRITE then tells how it ends.
int connectSocket(Socket socket, std::uint32_t address, std::uint16_t port);

int listenSocket(Socket socket, int backlog);

/// The accepted connection (blocking), or NO_SOCKET.
Socket acceptSocket(Socket socket, std::uint32_t& address, std::uint16_t& port);

/// Number of bytes, at least 1; 0 at the end of the stream; -1 on failure. On a blocking socket a
/// time-out that has passed is the error of a timed-out connection, so it `isConnectionLost`.
int receive(Socket socket, void* buffer, std::size_t size);

/// Number of bytes taken over, which may be less than `size`, or -1.
int send(Socket socket, const void* buffer, std::size_t size);

/// Whoever is blocked in that direction returns: `receive` with 0 or with an error that
/// `isConnectionLost`, `send` with such an error, a wait for WAIT_READ as if there were something
/// to read. With `shutdownRead`, too, a `send` under way may end so.
int shutdownRead(Socket socket);
int shutdownWrite(Socket socket);

int setBlocking(Socket socket, bool blocking);

/// Time-outs are handed over in milliseconds, in 4 bytes.
int setSocketOption(Socket socket, int level, int option, const void* value, int length);
int getSocketOption(Socket socket, int level, int option, void* value, int& length);

constexpr unsigned WAIT_READ = 1;
constexpr unsigned WAIT_WRITE = 2;

struct SocketWait {
    int result = 0;           ///< 0 time-out, 1 something is so, -1 failure
    bool readable = false;    ///< data, a connection to accept, or the end of the stream
    bool writable = false;    ///< also: the connection has been established
    bool exceptional = false; ///< the connection has failed: OPTION_ERROR tells why
};

/// Waits until the socket is ready for something in `interest` (WAIT_READ, WAIT_WRITE) or has
/// failed.
SocketWait waitSocket(Socket socket, unsigned interest, unsigned milliseconds);

/// 1 when a `receive` or `acceptSocket` wouldn't block, 0 on time-out, -1 on failure.
int waitReadable(Socket socket, unsigned milliseconds);

/// Error of the calling thread's last failed socket call.
int lastSocketError();

bool isWouldBlock(int error);
bool isConnectionLost(int error); ///< reset, aborted, not connected, shut down or timed out
bool isBadAddress(int error);     ///< the buffer isn't memory of this process
bool isBusy(int error);           ///< a network call is under way: `stopNetwork` may be repeated
std::string socketErrorText(int error); ///< "?" if the system has no text for it

/// First IPv4 address of a host name or dotted text, 0 if there is none. Any thread.
std::uint32_t resolveIPv4(const char* name);
std::string formatIPv4(std::uint32_t address);

// ---- ICMP echo ----------------------------------------------------------------------------------

enum class EchoStage {
    NO_MEMORY,   ///< no memory for the reply
    CANNOT_OPEN, ///< the system refuses the means to send an echo
    FAILED,      ///< not sent, or nobody answered in time
    REPLIED      ///< somebody answered: see `status`
};

struct EchoResult {
    EchoStage stage = EchoStage::FAILED;
    int error = 0;              ///< system error of CANNOT_OPEN and FAILED
    std::string errorText;      ///< its text
    std::int32_t status = 0;    ///< of REPLIED: 0 is the echo, else a number of 11002 and up
    std::int32_t roundTrip = 0; ///< of REPLIED [ms]
    std::string statusText;     ///< of REPLIED: empty if the system has no text for the status
};

/// Sends one echo request with the payload and waits for its reply, which must carry the same
/// payload. Packets of others are skipped and don't lengthen the wait. `replySize` is the room for
/// the reply: at least 40 bytes and the payload.
EchoResult icmpEcho(std::uint32_t address, const void* payload, std::size_t size,
                    std::size_t replySize, unsigned timeoutMs);

// ---- Locks --------------------------------------------------------------------------------------

/// Recursive; an abandoned one (its owner has ended) goes to the next who locks it.
class SystemMutex {
public:
    static std::unique_ptr<SystemMutex> create(); ///< null on failure
    SystemMutex(const SystemMutex&) = delete;
    SystemMutex& operator=(const SystemMutex&) = delete;
    ~SystemMutex();

    bool lock();
    bool unlock(); ///< false if the calling thread doesn't hold it

private:
    friend class SystemCondition;
    struct Native;
    explicit SystemMutex(std::unique_ptr<Native> native);
    std::unique_ptr<Native> m_native;
};

/// May wake spuriously: what is waited for is the caller's business.
class SystemCondition {
public:
    enum class Wait { WOKEN, TIMED_OUT, FAILED };

    static std::unique_ptr<SystemCondition> create(); ///< null on failure
    SystemCondition(const SystemCondition&) = delete;
    SystemCondition& operator=(const SystemCondition&) = delete;
    ~SystemCondition();

    /// Releases one level of the mutex, waits until `deadline` (in `monotonicNanoseconds` time) and
    /// takes the mutex again. On FAILED `error` is the system's, and the mutex isn't held.
    Wait waitUntil(SystemMutex& mutex, std::uint64_t deadline, int& error);

    bool wakeAll(); ///< needs no lock

private:
    struct Native;
    explicit SystemCondition(std::unique_ptr<Native> native);
    std::unique_ptr<Native> m_native;
};

// ---- Threads ------------------------------------------------------------------------------------

using ThreadEntry = std::uint32_t (*)(void* argument);

/// A thread that is created suspended and has its id from birth.
class SystemThread {
public:
    enum class Wait { SIGNALLED, TIMED_OUT, FAILED };

    /// Null on failure. A stack size of 0 takes the system's default; one below the system's least
    /// is raised to it. The argument must live until the entry function has returned.
    static std::unique_ptr<SystemThread> create(ThreadEntry entry, void* argument,
                                                std::size_t stackSize);
    SystemThread(const SystemThread&) = delete;
    SystemThread& operator=(const SystemThread&) = delete;

    /// Closes the handle. A thread that was never resumed ends without having entered its function;
    /// one that runs goes on by itself. May be called on the thread itself.
    ~SystemThread();

    std::uint32_t id() const;
    bool resume();

    /// SIGNALLED once the entry function has returned.
    Wait wait(unsigned milliseconds);

    /// What the entry function has returned, 0 until then.
    std::uint32_t exitCode() const;

private:
    struct Native;
    explicit SystemThread(std::shared_ptr<Native> native);
    std::shared_ptr<Native> m_native;
};

std::uint32_t currentThreadId();

// ---- Clock --------------------------------------------------------------------------------------

struct ClockTime {
    int year;
    int month; ///< from 0
    int day;   ///< from 0
    int hour;
    int minute;
    int second;
    int millisecond;
};

/// False if the system can't tell.
bool readLocalTime(ClockTime& time);

/// Monotonic [ms]; the second one wraps.
std::uint64_t tick64();
std::uint32_t tickCount();

/// Monotonic [ns].
std::uint64_t monotonicNanoseconds();

/// High-resolution counter and its ticks per second; a frequency of 0 means that there is none.
std::uint64_t performanceCounter();
std::uint64_t performanceFrequency();

// ---- System information -------------------------------------------------------------------------

constexpr int SYSTEM_WINDOWS = 1;
constexpr int SYSTEM_LINUX = 2;

int systemType();
const char* systemTypeName();
bool is64Bit();

/// Name, version and bits of the system, as text.
std::string systemName();

unsigned cpuCount();           ///< logical processors, at least 1
std::size_t memoryTotal();     ///< physical [bytes], 0 if unknown
std::size_t memoryAvailable(); ///< [bytes], 0 if unknown

// ---- Terminal -----------------------------------------------------------------------------------

/// Makes standard output understand control sequences; false if it is no terminal, or can't.
bool prepareTerminal();

/// Of standard output; false if it isn't a terminal, or has no size.
bool terminalSize(unsigned& columns, unsigned& rows);

// ---- Errors -------------------------------------------------------------------------------------

/// Empty if the system has no text for the code.
std::string systemErrorText(int error);

} // namespace fus::platform
