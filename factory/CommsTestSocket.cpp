#include "CommsTestSocket.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstring>

#include "factory/factory_log.h"

#define TAG_SOCKET "SOCKET"

namespace {

constexpr int kFamilyTcp = 2;  // what stations pass for TCP: AF_INET's value on Linux
constexpr int kBacklog = 5;
constexpr char kAbstractName[] = "wlbt_stream";
// sun_path keeps its first byte for the NUL that marks the abstract namespace
// and its last for a terminator we never send.
constexpr size_t kMaxAbstractName = sizeof(sockaddr_un::sun_path) - 2;

// Descriptor 0 stands for "closed" in this class, so a socket that the kernel
// numbered 0 (standard input was closed) is moved above it. Returns the new
// descriptor, or -1 with `fd` closed when no other number is free.
int KeepOffZero(int fd) {
    if (fd != 0) return fd;
    const int moved = fcntl(fd, F_DUPFD_CLOEXEC, 1);
    close(fd);
    return moved;
}

}  // namespace

CCommsTestSocket::CCommsTestSocket()
    : m_listen_fd(0), m_client_fd(0), m_port(DEFAULT_PORT_NUM), m_connected(false) {
    std::memset(&m_server_addr, 0, sizeof m_server_addr);
    std::memset(&m_client_addr, 0, sizeof m_client_addr);
    std::memset(&m_unix_addr, 0, sizeof m_unix_addr);
}

CCommsTestSocket::~CCommsTestSocket() {
    Close();
}

int CCommsTestSocket::Open(int family) {
    return Open(DEFAULT_PORT_NUM, family);
}

int CCommsTestSocket::Open(int port, int family) {
    if (m_listen_fd != 0) {
        FLOG(TAG_SOCKET, "Socket is alread opened, %d\n", m_listen_fd);
        return COMMS_SOCKET_ALREADY_OPENED;
    }
    const bool tcp = family == kFamilyTcp;

    // Close-on-exec: the library runs shell commands, and a child holding the
    // listening socket would keep the port busy after Close().
    const int fd = KeepOffZero(socket(tcp ? AF_INET : AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (fd < 0) {
        // Nothing is stored: a negative result is not a descriptor to close.
        FLOG(TAG_SOCKET, "Server : Can't open stream socket\n");
        return COMMS_SOCKET_OPEN_FAILED;
    }
    m_listen_fd = fd;
    // A station reconnecting right after a test must not wait out TIME_WAIT.
    const int reuse = 1;
    setsockopt(m_listen_fd, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);

    const sockaddr* bindAddr = nullptr;
    socklen_t bindLength = 0;
    bool portFits = true;
    if (tcp) {
        portFits = port >= 0 && port <= 0xFFFF;
        m_server_addr.sin_family = AF_INET;
        m_server_addr.sin_addr.s_addr = htonl(INADDR_ANY);
        m_server_addr.sin_port = htons(static_cast<uint16_t>(port));
        bindAddr = reinterpret_cast<const sockaddr*>(&m_server_addr);
        bindLength = sizeof m_server_addr;
    } else {
        // The abstract namespace: a leading NUL, then the name without a
        // terminator, so no file is left behind and the length carries the name.
        std::memset(&m_unix_addr, 0, sizeof m_unix_addr);
        m_unix_addr.sun_family = AF_UNIX;
        const size_t nameLength = strnlen(kAbstractName, kMaxAbstractName);
        std::memcpy(m_unix_addr.sun_path + 1, kAbstractName, nameLength);
        bindAddr = reinterpret_cast<const sockaddr*>(&m_unix_addr);
        bindLength = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + nameLength);
    }

    if (!portFits || bind(m_listen_fd, bindAddr, bindLength) < 0) {
        FLOG(TAG_SOCKET, "Server : Can't bind local address.\n");
        return COMMS_SOCKET_BIND_FAILED;
    }
    if (listen(m_listen_fd, kBacklog) < 0) {
        FLOG(TAG_SOCKET, "Can't listening connect.\n");
        return COMMS_SOCKET_LISTEN_FAILED;
    }
    if (tcp) {
        FLOG(TAG_SOCKET, "Waiting a client. Port=%d\n", port);
    } else {
        FLOG(TAG_SOCKET, "Waiting for android client\n");
    }

    // Both modes accept into the same 16 bytes; a Unix peer's address is
    // truncated to them, never written past them.
    socklen_t clientLength = sizeof m_client_addr;
    int client = accept4(m_listen_fd, reinterpret_cast<sockaddr*>(&m_client_addr), &clientLength, SOCK_CLOEXEC);
    if (client >= 0) client = KeepOffZero(client);
    if (client < 0) {
        m_client_fd = client;
        std::fprintf(stderr, "Server: accept failed.\n");
        return COMMS_SOCKET_ACCEPT_FAILED;
    }
    m_client_fd = client;

    if (tcp) {
        FLOG(TAG_SOCKET, "client connected. Port=%d\n", port);
        m_port = port;
    } else {
        FLOG(TAG_SOCKET, "Android client connected\n");
    }
    m_connected = true;
    return COMMS_SOCKET_OK;
}

int CCommsTestSocket::Read(char* buffer, int length) {
    if (m_client_fd == 0) {
        FLOG(TAG_SOCKET, "Server : Socket is not opened.\n");
        return COMMS_SOCKET_NOT_OPENED;
    }
    if (buffer == nullptr) {
        FLOG(TAG_SOCKET, "buffer is NULL\n");
        return COMMS_SOCKET_NULL_BUFFER;
    }
    // A negative length would become a huge size_t and let read() run past
    // the caller's buffer.
    if (length < 0) {
        errno = EINVAL;
        return -1;
    }
    return static_cast<int>(read(m_client_fd, buffer, static_cast<size_t>(length)));
}

int CCommsTestSocket::Write(const char* buffer, int length) {
    if (m_client_fd == 0 || buffer == nullptr || length == 0) {
        FLOG(TAG_SOCKET, "Socket is not opened.\n");
        return COMMS_SOCKET_NOT_OPENED;
    }
    if (length < 0) {
        errno = EINVAL;
        return -1;
    }
    // write() with MSG_NOSIGNAL: a station that hung up gives -1 (EPIPE)
    // instead of SIGPIPE ending the whole process.
    return static_cast<int>(send(m_client_fd, buffer, static_cast<size_t>(length), MSG_NOSIGNAL));
}

int CCommsTestSocket::Close() {
    // A negative client value is a failed accept's result, not a descriptor.
    if (m_client_fd > 0) close(m_client_fd);
    if (m_listen_fd > 0) close(m_listen_fd);
    m_client_fd = 0;
    m_listen_fd = 0;
    m_connected = false;
    return COMMS_SOCKET_OK;
}
