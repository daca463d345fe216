/* CCommsTestSocket: a small blocking server socket for a test station that
 * talks to the phone over TCP or over a Unix socket in the abstract
 * namespace ("@wlbt_stream"). It accepts exactly one client; a new client
 * needs Close() and Open() again. Nothing else in the library uses it.
 *
 * C++ only. A C compiler that includes this header by mistake stops with an
 * #error instead of failing somewhere inside the class.
 *
 * States: closed (both descriptors 0), listening (only while Open runs: it
 * blocks in accept until a client connects), connected.
 *
 * Result codes (every line below goes to the Android log under the tag
 * "SOCKET" at verbose priority, except the accept failure, which goes to
 * standard error):
 *   0     success
 *   1025  not open: "Server : Socket is not opened.\n" (Read),
 *         "Socket is not opened.\n" (Write)
 *   1026  already open: "Socket is alread opened, <listening descriptor>\n"
 *   1027  socket() failed: "Server : Can't open stream socket\n"
 *   1028  bind failed: "Server : Can't bind local address.\n"
 *   1029  listen failed: "Can't listening connect.\n"
 *   1030  accept failed: "Server: accept failed.\n" on standard error
 *   1031  null buffer: "buffer is NULL\n"
 *
 * Read and Write return the result of read() and write() when they get that
 * far, so byte counts, -1 and the codes above share one return value: a read
 * of 1025 bytes looks exactly like "not open". A caller that must tell them
 * apart reads at most IF_BUF_SIZE bytes at a time.
 *
 * Failure paths:
 *   - bind, listen or accept failing leaves the listening descriptor set, so
 *     every later Open returns 1026 until Close() has run.
 *   - socket() failing (1027) leaves both descriptors at 0: the class never
 *     stores a negative socket() result, so Close() has nothing to close.
 *   - accept failing stores its negative result in m_client_fd. Close() never
 *     passes a negative value to close(); it only clears it. Read and Write
 *     hand it to read()/write(), which fail with -1 (EBADF) without touching
 *     any other descriptor.
 *   - A TCP port outside 0..65535 cannot be bound as asked and is reported as
 *     a bind failure (1028) instead of binding the truncated port.
 *   - A signal that interrupts the blocking accept ends Open with 1030; so
 *     does shutdown() of m_listen_fd from another thread. These are the only
 *     ways out of a wait for a client that never comes.
 *   - A negative length makes Read and Write fail like read()/write() with an
 *     invalid argument: -1 with errno EINVAL, nothing read or written.
 *   - Write to a client that has hung up gives -1 (EPIPE) rather than a
 *     SIGPIPE that would end the whole process.
 *
 * Descriptor 0 means "closed" here. Should socket() or accept() hand out 0
 * (the host closed standard input), the descriptor is moved to the lowest
 * free number above 0 first, so an open socket is never mistaken for a
 * closed one. Both descriptors are close-on-exec: the library starts shell
 * commands, which must not inherit the station's listening port.
 *
 * One thread at a time: the class has no lock. */
#pragma once

#ifndef __cplusplus
#error "CommsTestSocket.h declares a C++ class; include it from C++ only."
#endif

#include <netinet/in.h>
#include <sys/un.h>

#include "wlbt_export.h"

#define DEFAULT_PORT_NUM 2543
/* Largest read a caller should ask for (see the note on 1025 above). The class
 * itself holds no buffer. */
#define IF_BUF_SIZE 1024

/* The codes of the table above, by name. */
enum CommsTestSocketResult {
    COMMS_SOCKET_OK = 0,
    COMMS_SOCKET_NOT_OPENED = IF_BUF_SIZE + 1,  /* 1025 */
    COMMS_SOCKET_ALREADY_OPENED,                /* 1026 */
    COMMS_SOCKET_OPEN_FAILED,                   /* 1027 */
    COMMS_SOCKET_BIND_FAILED,                   /* 1028 */
    COMMS_SOCKET_LISTEN_FAILED,                 /* 1029 */
    COMMS_SOCKET_ACCEPT_FAILED,                 /* 1030 */
    COMMS_SOCKET_NULL_BUFFER,                   /* 1031 */
};

class WLBT_API CCommsTestSocket {
public:
    /* Closed: both descriptors 0, port DEFAULT_PORT_NUM, not connected. */
    CCommsTestSocket();
    /* Not virtual, as callers built against this layout expect; calls Close(). */
    ~CCommsTestSocket();
    /* The object owns its descriptors; a copy would close them twice. */
    CCommsTestSocket(const CCommsTestSocket&) = delete;
    CCommsTestSocket& operator=(const CCommsTestSocket&) = delete;

    /* Open(DEFAULT_PORT_NUM, family). */
    virtual int Open(int family);
    /* Up to `length` bytes from the client into `buffer`: read()'s result,
     * 1025 without a client (checked first), 1031 for a null buffer. */
    virtual int Read(char* buffer, int length);
    /* `length` bytes of `buffer` to the client: write()'s result, 1025 without
     * a client, for a null buffer or for a length of 0 (nothing is written). */
    virtual int Write(const char* buffer, int length);

    /* family 2 (AF_INET) listens on TCP `port` on every address; any other
     * value listens on the abstract Unix name "wlbt_stream" and ignores
     * `port`. Blocks until one client has connected. On TCP success the port
     * is kept in m_port. */
    int Open(int port, int family);
    /* Closes whichever descriptors are open, clears both and m_connected.
     * Always 0; safe to call in any state and more than once. */
    int Close();

    sockaddr_in m_server_addr;  /* TCP bind address */
    sockaddr_in m_client_addr;  /* the accepted peer's address (first 16 bytes in Unix mode) */
    sockaddr_un m_unix_addr;    /* abstract-namespace bind address */
    int m_listen_fd;            /* listening socket; 0 when closed */
    int m_client_fd;            /* accepted client; 0 when closed, negative after a failed accept */
    int m_port;                 /* TCP port in use */
    bool m_connected;           /* a client was accepted */
};
