#include "link/phys/posix/uart/uart.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <algorithm>

#include "enginefw/clock.h"
#include "enginefw/critical_section.h"
#include "link/phys/h4/h4_capture_tap.h"
#include "platform/platform.h"

// A failing thread or handshake call is a programming error: say which test
// failed, where, and with what errno, and end the process.
#define UART_ASSERT(test)                                                                                   \
    do {                                                                                                    \
        if (!(test)) {                                                                                      \
            const int uartErrno = errno;                                                                    \
            std::fprintf(stderr, "Assertion %s failed (%s, %lu); errno %li (%s)\n", #test, __FILE__,        \
                         static_cast<unsigned long>(__LINE__), static_cast<long>(uartErrno),                \
                         std::strerror(uartErrno));                                                         \
            std::abort();                                                                                   \
        }                                                                                                   \
    } while (0)

namespace {

void DoNothingHandler(int) {}

// Read and write errors are printed for the first few only, per thread.
constexpr unsigned kPrintedFailures = 9;

}  // namespace

// ---------------------------------------------------------------------------
// Configuration

namespace {

UARTConfigurationData Data(unsigned long baud, UARTConfiguration::parity parity, unsigned char stopBits,
                           bool flowControl, unsigned long unused) {
    return UARTConfigurationData{baud, parity, stopBits, flowControl, unused};
}

}  // namespace

UARTConfiguration::UARTConfiguration(const char* name, unsigned long baud, parity parity, unsigned char stopBits,
                                     bool flowControl, unsigned long unused)
    : mImpl(new RealUARTConfiguration(name_store(name), Data(baud, parity, stopBits, flowControl, unused))) {}

UARTConfiguration::UARTConfiguration(const wchar_t* name, unsigned long baud, parity parity,
                                     unsigned char stopBits, bool flowControl, unsigned long unused)
    : mImpl(new RealUARTConfiguration(name_store(name), Data(baud, parity, stopBits, flowControl, unused))) {}

UARTConfiguration::~UARTConfiguration() = default;

UARTAbstraction* RealUARTConfiguration::make() const { return new UARTAbstraction(new UARTImplUART(*this)); }

bool RealUARTConfiguration::testOpen() const {
    if (name().getW() != nullptr || name().getA() == nullptr) {
        return false;
    }
    const int fd = plat::Open(name().getA(), O_RDWR);
    if (fd < 0) {
        return false;
    }
    plat::Close(fd);
    return true;
}

Watched::Watched() : mWatchLock(CriticalSection::InitialiseCS(true)) {}

Watched::~Watched() { CriticalSection::DestroyCS(mWatchLock); }

void Watched::SetWatcher(DataWatcher* watcher) {
    CriticalSectionLock hold(mWatchLock);
    mWatcher = watcher;
}

UARTAbstraction::~UARTAbstraction() { delete mImpl; }

// ---------------------------------------------------------------------------
// The threads and handshakes

UARTImplAbs::UARTImplAbs() {
    UART_ASSERT(pthread_mutex_init (&mMutexEnv, NULL) == 0);
    UART_ASSERT(pthread_mutex_init (&mMutexThread, NULL) == 0);
    UART_ASSERT(pthread_cond_init (&mCondDoTx, NULL) == 0);
    UART_ASSERT(pthread_cond_init (&mCondDoRx, NULL) == 0);
    UART_ASSERT(pthread_cond_init (&mCondDoCts, NULL) == 0);
    UART_ASSERT(pthread_cond_init (&mCondDone, NULL) == 0);
}

UARTImplAbs::~UARTImplAbs() {
    Shutdown();
    UART_ASSERT(pthread_mutex_destroy (&mMutexEnv) == 0);
    UART_ASSERT(pthread_mutex_destroy (&mMutexThread) == 0);
    UART_ASSERT(pthread_cond_destroy (&mCondDoTx) == 0);
    UART_ASSERT(pthread_cond_destroy (&mCondDoRx) == 0);
    UART_ASSERT(pthread_cond_destroy (&mCondDoCts) == 0);
    UART_ASSERT(pthread_cond_destroy (&mCondDone) == 0);
    delete[] mTxBuffer;
}

void UARTImplAbs::Shutdown() {
    if (mFd == -1) {
        return;
    }
    if (mThreadsStarted) {
        UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
        mStop = 1;
        UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
        // The wake pipe frees a thread blocked on the port; the signal does the
        // same where the handler is ours.
        const char byte = 1;
        ssize_t ignored = ::write(mWake[1], &byte, 1);
        (void)ignored;
        if (mSignalHandlerOurs) {
            pthread_kill(txThreadID, SIGUSR1);
        }
        UART_ASSERT(pthread_cond_signal (&mCondDoTx) == 0);
        UART_ASSERT(pthread_join (txThreadID, NULL) == 0);
        if (mSignalHandlerOurs) {
            pthread_kill(rxThreadID, SIGUSR1);
        }
        UART_ASSERT(pthread_cond_signal (&mCondDoRx) == 0);
        UART_ASSERT(pthread_join (rxThreadID, NULL) == 0);
        mThreadsStarted = false;
    }
    ioctl(mFd, TCFLSH, 2);
    plat::Close(mFd);
    mFd = -1;
    for (int& end : mWake) {
        if (end != -1) {
            ::close(end);
            end = -1;
        }
    }
}

bool UARTImplAbs::open() {
    const std::string opening = "Opening " + getName();  // kept for tracing
    (void)opening;
    if (!open_detail()) {
        return false;
    }
    // The handler only breaks the threads out of blocking calls. A host that
    // has its own SIGUSR1 handler keeps it: the wake pipe frees the threads
    // without the signal.
    struct sigaction current {};
    sigaction(SIGUSR1, nullptr, &current);
    if (current.sa_handler == SIG_DFL || current.sa_handler == DoNothingHandler) {
        struct sigaction action {};
        action.sa_handler = DoNothingHandler;
        sigemptyset(&action.sa_mask);
        const int rv = sigaction(SIGUSR1, &action, nullptr);
        UART_ASSERT(rv == 0);
        mSignalHandlerOurs = true;
    }
    UART_ASSERT(pipe2(mWake, O_CLOEXEC) == 0);
    // Both threads wait in poll before they touch the port, so it need not
    // block; the daemon's own writes then never wait on a full line.
    fcntl(mFd, F_SETFL, fcntl(mFd, F_GETFL) | O_NONBLOCK);
    mAheadStart = mAheadEnd = 0;
    // A fresh tap each time: a packet cut short by a close is not finished
    // by the bytes of the next open.
    mTap.reset(capture::Active() ? new H4CaptureTap : nullptr);
    mStop = 0;
    mDied = 0;
    mDiedTold = 0;
    const int rv = pthread_create(&txThreadID, NULL, __txThread, this);
    if (rv == -1) {
        std::fprintf(stderr, "Hm, are you sure you're linking with the pthread library?\n");
    }
    UART_ASSERT(rv == 0);
    UART_ASSERT(pthread_create (&rxThreadID, NULL, __rxThread, this) == 0);
    mThreadsStarted = true;
    return true;
}

unsigned long UARTImplAbs::TakeAhead(unsigned char* buffer, unsigned long length) {
    const unsigned long n = std::min<unsigned long>(length, mAheadEnd - mAheadStart);
    std::memcpy(buffer, mAhead + mAheadStart, n);
    mAheadStart += n;
    if (mAheadStart == mAheadEnd) {
        mAheadStart = mAheadEnd = 0;
    }
    return n;
}

bool UARTImplAbs::reopen() {
    Shutdown();
    return open();
}

bool UARTImplAbs::read(unsigned char* buffer, unsigned long length, unsigned long* count) {
    *count = 0;
    if (length == 0) {
        return true;
    }
    UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
    if (mRxState == idle) {
        mRxBuffer = buffer;
        if (mAheadEnd > mAheadStart) {
            // Bytes the receive thread read ahead: the read is done at once,
            // with no trip through the thread.
            mRxLength = TakeAhead(buffer, length);
            mRxState = done;
            UART_ASSERT(pthread_cond_signal (&mCondDone) == 0);
        } else {
            mRxLength = length;
            mRxState = requested;
            UART_ASSERT(pthread_cond_signal (&mCondDoRx) == 0);
        }
    }
    UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
    return false;
}

bool UARTImplAbs::write(const unsigned char* data, unsigned long length, unsigned long* count) {
    *count = 0;
    if (length == 0) {
        return true;
    }
    UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
    if (mTxState == idle) {
        if (mTxBuffer == nullptr || length > mTxCapacity) {
            delete[] mTxBuffer;
            mTxBuffer = new unsigned char[length];
            mTxCapacity = length;
        }
        std::memcpy(mTxBuffer, data, length);
        mTxLength = length;
        mTxSent = 0;
        // The port does not block: what it takes now needs no trip through the
        // transmit thread, which is left the rest, if any. No write is in flight,
        // so nothing else writes meanwhile.
        mTxState = writing;
        UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
        const ssize_t rc = ::write(mFd, mTxBuffer, length);
        if (rc > 0 && mTap) {
            mTap->Sent(mTxBuffer, static_cast<size_t>(rc));
        }
        UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
        if (rc > 0) {
            mTxSent = static_cast<unsigned long>(rc);
        }
        if (mTxSent == length) {
            mTxState = done;
            UART_ASSERT(pthread_cond_signal (&mCondDone) == 0);
        } else {
            mTxState = requested;
            UART_ASSERT(pthread_cond_signal (&mCondDoTx) == 0);
        }
    }
    UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
    return false;
}

UARTWaitResult UARTImplAbs::wait(unsigned long ms, unsigned long* count) {
    struct timespec deadline {};
    HiResClockGetNanoSec(&deadline);
    deadline.tv_sec += static_cast<time_t>(ms / 1000);
    deadline.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
    if (deadline.tv_nsec > 999999999L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
    while (mTxState != done && mRxState != done && mCtsState != done && !(mDied && !mDiedTold)) {
        if (mAbortWait || mXmitRequest) {
            break;
        }
        const int rc = pthread_cond_timedwait(&mCondDone, &mMutexThread, &deadline);
        if (rc == ETIMEDOUT) {
            break;
        }
        UART_ASSERT(rc == 0);
    }
    UARTWaitResult result = waitTimeout;
    if (mAbortWait) {
        mAbortWait = 0;
        result = waitAborted;
    } else if (mXmitRequest) {
        mXmitRequest = 0;
        result = waitXmitRequest;
    } else if (mRxState == done) {
        mRxState = idle;
        *count = mRxLength;
        CriticalSectionLock hold(mWatchLock);
        if (mWatcher != nullptr) {
            mWatcher->onDataReceived(mRxBuffer, mRxLength, 0);
        }
        result = waitRxDone;
    } else if (mTxState == done) {
        mTxState = idle;
        CriticalSectionLock hold(mWatchLock);
        if (mWatcher != nullptr) {
            mWatcher->onDataSent(mTxBuffer, mTxLength);
        }
        result = waitTxDone;
    } else if (mCtsState == done) {
        mCtsState = idle;
        result = waitCtsPulse;
    } else if (mDied && !mDiedTold) {
        mDiedTold = 1;
        result = waitDied;
    }
    UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
    return result;
}

void UARTImplAbs::abortWait() {
    UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
    mAbortWait = 1;
    UART_ASSERT(pthread_cond_signal (&mCondDone) == 0);
    UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
}

void UARTImplAbs::reqXmit() {
    UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
    mXmitRequest = 1;
    UART_ASSERT(pthread_cond_signal (&mCondDone) == 0);
    UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
}

void* UARTImplAbs::__txThread(void* self) {
    static_cast<UARTImplAbs*>(self)->txThread();
    return nullptr;
}

void* UARTImplAbs::__rxThread(void* self) {
    static_cast<UARTImplAbs*>(self)->rxThread();
    return nullptr;
}

void UARTImplAbs::__unlockMutexThread(void* self) {
    const int rc = pthread_mutex_unlock(&static_cast<UARTImplAbs*>(self)->mMutexThread);
    if (rc != 0) {
        std::printf("mutex_unlock = %d (erno = %d 0x%x)\n", rc, errno, errno);
        perror("mutex_unlock");
    }
}

bool UARTImplAbs::WaitReady(short events) {
    struct pollfd fds[2] = {{mFd, events, 0}, {mWake[0], POLLIN, 0}};
    for (;;) {
        const int n = poll(fds, 2, -1);
        if (n < 0 && errno == EINTR) {
            UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
            const bool stop = mStop != 0;
            UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
            if (stop) {
                return false;
            }
            continue;
        }
        // A hang-up or an error on the port is left to the read or write to find.
        return !(n > 0 && (fds[1].revents & POLLIN) != 0);
    }
}

// With mMutexThread held: waits until *state is requested or the port
// stops. True with the mutex still held; false, with it released, when the
// port stops. The wait is a cancellation point, hence the cleanup handler.
bool UARTImplAbs::AwaitRequest(const uint32_t* state, pthread_cond_t* cond) {
    if (mStop) {
        UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
        return false;
    }
    pthread_cleanup_push(__unlockMutexThread, this);
    while (!mStop && *state != requested) {
        UART_ASSERT(pthread_cond_wait (cond, &mMutexThread) == 0);
    }
    pthread_cleanup_pop(1);
    UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
    if (mStop) {
        UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
        return false;
    }
    return true;
}

void UARTImplAbs::txThread() {
    UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
    for (;;) {
        if (!AwaitRequest(&mTxState, &mCondDoTx)) {
            return;
        }
        const unsigned char* buffer = mTxBuffer + mTxSent;
        unsigned long length = mTxLength - mTxSent;
        UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);

        bool dead = false;
        while (length != 0) {
            if (!WaitReady(POLLOUT)) {
                return;
            }
            const ssize_t rc = ::write(mFd, buffer, length);
            const int error = errno;
            if (rc > 0 && mTap) {
                mTap->Sent(buffer, static_cast<size_t>(rc));
            }
            UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
            const bool stop = mStop != 0;
            UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
            if (stop) {
                return;
            }
            if (rc != static_cast<ssize_t>(length) && ++mTxFailures <= kPrintedFailures) {
                std::fprintf(stderr, "Failed to write %li bytes (rc %li, errno %i):\n", static_cast<long>(length),
                             static_cast<long>(rc), error);
                errno = error;
                perror(NULL);
            }
            if (rc >= 0) {
                buffer += rc;
                length -= static_cast<unsigned long>(rc);
            } else if (error != EINTR && error != EAGAIN) {
                // The port is gone: retrying would spin for ever.
                dead = true;
                break;
            }
        }
        UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
        mTxState = done;
        if (dead) {
            mDied = 1;
        }
        UART_ASSERT(pthread_cond_signal (&mCondDone) == 0);
        if (dead) {
            UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
            return;
        }
    }
}

void UARTImplAbs::rxThread() {
    UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
    for (;;) {
        if (!AwaitRequest(&mRxState, &mCondDoRx)) {
            return;
        }
        unsigned char* const buffer = mAheadRead;
        const unsigned long length = kReadAhead;
        UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);

        unsigned long got = 0;
        bool dead = false;
        for (;;) {
            if (!WaitReady(POLLIN)) {
                return;
            }
            const ssize_t rc = ::read(mFd, buffer, length);
            const int error = errno;
            if (rc > 0 && mTap) {
                mTap->Received(buffer, static_cast<size_t>(rc));
            }
            UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
            const bool stop = mStop != 0;
            UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
            if (stop) {
                return;
            }
            if (rc > 0) {
                got = static_cast<unsigned long>(rc);
                break;
            }
            if (rc < 0 && (error == EINTR || error == EAGAIN)) {
                continue;
            }
            if (++mRxFailures <= kPrintedFailures) {
                std::fprintf(stderr, "Failed to read %li bytes (rc %li, errno %i):\n", static_cast<long>(length),
                             static_cast<long>(rc), error);
                errno = error;
                perror(NULL);
            }
            // An end of file, or an error that a retry would only repeat: the
            // device has gone. The read finishes with nothing, as a dead port's
            // always have, and the port is reported dead.
            dead = true;
            break;
        }
        UART_ASSERT(pthread_mutex_lock (&mMutexThread) == 0);
        // The caller's part now; the rest waits for the next read.
        std::memcpy(mAhead, mAheadRead, got);
        mAheadStart = 0;
        mAheadEnd = got;
        mRxLength = TakeAhead(mRxBuffer, mRxLength);
        mRxState = done;
        if (dead) {
            mDied = 1;
        }
        UART_ASSERT(pthread_cond_signal (&mCondDone) == 0);
        if (dead) {
            UART_ASSERT(pthread_mutex_unlock (&mMutexThread) == 0);
            return;
        }
    }
}

// ---------------------------------------------------------------------------
// The termios port

UARTImplUART::UARTImplUART(const RealUARTConfiguration& configuration)
    : mConfiguration(configuration), mBaud(configuration.baud) {}

UARTImplUART::~UARTImplUART() { Shutdown(); }

std::string UARTImplUART::getName() const {
    const char* name = mConfiguration.name().getA();
    return mConfiguration.name().getW() != nullptr || name == nullptr ? "wide?" : name;
}

std::string UARTImplUART::getDeviceName() const {
    const char* name = mConfiguration.name().getA();
    return name == nullptr ? "" : name;
}

unsigned UARTImplUART::BaudCode(unsigned long rate) {
    static const struct {
        unsigned long rate;
        unsigned code;
    } kRates[] = {{2400, 0xb},       {4800, 0xc},       {9600, 0xd},       {38400, 0xf},      {57600, 0x1001},
                  {115200, 0x1002},  {230400, 0x1003},  {460800, 0x1004},  {500000, 0x1005},  {576000, 0x1006},
                  {921600, 0x1007},  {1000000, 0x1008}, {1152000, 0x1009}, {1500000, 0x100a}, {2000000, 0x100b},
                  {2500000, 0x100c}, {3000000, 0x100d}, {3500000, 0x100e}, {4000000, 0x100f}};
    for (const auto& entry : kRates) {
        if (entry.rate == rate) {
            return entry.code;
        }
    }
    return 0;
}

bool UARTImplUART::SetBaudRate_termios(unsigned long rate) {
    mBaud = rate;
    const unsigned code = BaudCode(rate);
    if (code == 0) {
        return false;
    }
    mTios.c_cflag = (mTios.c_cflag & ~static_cast<tcflag_t>(0x100f)) | code;
    return true;
}

bool UARTImplUART::ConfigurePort() { return ioctl(mFd, TCSETS, &mTios) == 0; }

bool UARTImplUART::setBaudRate(unsigned long rate) { return SetBaudRate_termios(rate) && ConfigurePort(); }

bool UARTImplUART::setHWFC(bool on) {
    if (on) {
        mTios.c_cflag |= CRTSCTS;
    } else {
        mTios.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
    }
    return ConfigurePort();
}

bool UARTImplUART::setHWFC(UARTAbstraction::fcmode mode) {
    if (mode > 1) {
        return false;
    }
    return setHWFC(mode == UARTAbstraction::fc_rtscts);
}

bool UARTImplUART::open_detail() {
    if (mConfiguration.name().getW() != nullptr || mConfiguration.name().getA() == nullptr) {
        return false;
    }
    const char* name = mConfiguration.name().getA();
    mFd = plat::Open(name, O_RDWR | O_NOCTTY);
    if (mFd < 0) {
        std::fprintf(stderr, "Failed to open %s (errno %i):\n", name, errno);
        perror(NULL);
        mFd = -1;
        return false;
    }
    auto fail = [this](const char* format) {
        std::fprintf(stderr, format, errno);
        perror(NULL);
        plat::Close(mFd);
        mFd = -1;
        return false;
    };
    auto closeQuietly = [this]() {
        plat::Close(mFd);
        mFd = -1;
        return false;
    };
    if (ioctl(mFd, TCGETS, &mTios) != 0) {
        return fail("Failed to get terminal attributes (errno %i):\n");
    }
    mTios.c_iflag &= ~static_cast<tcflag_t>(0x15ff);
    if (mTios.c_iflag != 0) {
        std::fprintf(stderr, "Warning: tios.c_iflag contains non-zero non-Posix bits: 0%lo\n",
                     static_cast<unsigned long>(mTios.c_iflag));
    }
    mTios.c_iflag |= IGNPAR | INPCK;
    mTios.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    if (mTios.c_oflag != 0 && mTios.c_oflag != ONLCR) {
        std::fprintf(stderr, "Warning: tios.c_oflag contains non-zero non-Posix bits: 0%lo\n",
                     static_cast<unsigned long>(mTios.c_oflag));
    }
    mTios.c_cflag &= ~static_cast<tcflag_t>(0xff0);
    if (mTios.c_cflag != 0) {
        std::fprintf(stderr, "Warning: tios.c_cflag contains non-zero non-Posix bits: 0%lo\n",
                     static_cast<unsigned long>(mTios.c_cflag));
    }
    mTios.c_cflag |= CS8 | CREAD | CLOCAL;
    if (mConfiguration.parity == UARTConfiguration::odd) {
        mTios.c_cflag |= PARENB | PARODD;
    } else if (mConfiguration.parity != UARTConfiguration::none) {
        mTios.c_cflag |= PARENB;
    }
    if (mConfiguration.stopBits != 1) {
        mTios.c_cflag |= CSTOPB;
    }
    if (mConfiguration.flowControl) {
        mTios.c_cflag |= CRTSCTS;
    } else {
        mTios.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
    }
    mTios.c_lflag &= ~static_cast<tcflag_t>(0x81fb);
    if (mTios.c_lflag != 0 && mTios.c_lflag != (ECHOCTL | ECHOKE)) {
        std::fprintf(stderr, "Warning: tios.c_lflag contains non-zero non-Posix bits: 0%lo\n",
                     static_cast<unsigned long>(mTios.c_lflag));
    }
    mTios.c_cc[VMIN] = 1;
    mTios.c_cc[VTIME] = 0;
    const bool inTable = SetBaudRate_termios(mConfiguration.baud);
    if (!ConfigurePort()) {
        return fail("Failed to set terminal attributes (errno %i):\n");
    }
    if (!inTable && !SetBaudRate_notermios(mConfiguration.baud)) {
        return closeQuietly();
    }
    std::fprintf(stderr, "Opened COM port ok %d (%u)\n", mFd, static_cast<unsigned>(mBaud));
    return true;
}
