// The serial port under the Bluetooth link: one character device at a fixed
// baud rate with hardware flow control, turned into an asynchronous interface
// for the one thread above it.
//
// The H4 stack asks for a read or a write, neither of which blocks, and then
// sits in wait(), which returns when one of them has finished or when another
// thread calls reqXmit() or abortWait(). Two private threads do the blocking
// I/O. At most one read and one write are in flight; a second request while
// one is in flight is dropped.
//
// A port that goes away (the device hangs up, a read ends or fails for good, a
// write fails for good) is reported once by wait() as waitDied, after any read
// it finished; its I/O threads then end instead of retrying without end.
//
// Lock order: mMutexThread, then the Watched lock; a DataWatcher runs under both.
#pragma once

#include <pthread.h>
#include <termios.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "enginefw/counted.h"
#include "link/phys/name_store.h"

// An observer of the byte stream.
class DataWatcher {
public:
    virtual ~DataWatcher() = default;
    // After a transmit buffer has gone out.
    virtual void onDataSent(const uint8_t* data, size_t length) = 0;
    // After a receive has finished; flag is always 0.
    virtual void onDataReceived(const uint8_t* data, size_t length, unsigned flag) = 0;
};

enum UARTWaitResult {
    waitTxDone = 0,
    waitRxDone = 1,
    waitXmitRequest = 2,
    waitAborted = 3,
    waitCtsPulse = 4,
    waitDied = 6,
    waitTimeout = 7,
};

class H4CaptureTap;
class UARTAbstraction;
class RealUARTConfiguration;

// A copyable handle on a shared configuration.
class UARTConfiguration {
public:
    // 0 none, 1 odd, any other value even.
    enum parity { none = 0, odd = 1, even = 2 };

    class Implementation : public Counter {
    public:
        explicit Implementation(const name_store& name) : mName(name) {}
        ~Implementation() override = default;
        virtual bool getFlowControlOn() const = 0;
        virtual UARTAbstraction* make() const = 0;
        virtual bool testOpen() const = 0;
        virtual bool hasPios() const { return false; }
        const name_store& name() const { return mName; }

    private:
        name_store mName;
    };

    UARTConfiguration(const char* name, unsigned long baud, parity parity, unsigned char stopBits, bool flowControl,
                      unsigned long unused);
    UARTConfiguration(const wchar_t* name, unsigned long baud, parity parity, unsigned char stopBits,
                      bool flowControl, unsigned long unused);
    virtual ~UARTConfiguration();

    // A new port; its count starts at 0, the first CountedPointer makes it 1.
    UARTAbstraction* make() const { return mImpl->make(); }
    bool nameIsWide() const { return mImpl->name().getW() != nullptr; }
    const char* getNameA() const { return mImpl->name().getA(); }
    const wchar_t* getNameW() const { return mImpl->name().getW(); }
    const char* getName(const char*& name) const { return mImpl->name().get(name); }
    const wchar_t* getName(const wchar_t*& name) const { return mImpl->name().get(name); }
    bool testOpen() const { return mImpl->testOpen(); }
    bool getFlowControlOn() const { return mImpl->getFlowControlOn(); }
    bool hasPios() const { return mImpl->hasPios(); }

private:
    CountedPointer<Implementation> mImpl;
};

struct UARTConfigurationData {
    unsigned long baud;
    UARTConfiguration::parity parity;
    unsigned char stopBits;  // 1: one stop bit; anything else: two
    bool flowControl;        // hardware RTS/CTS
    unsigned long unused;    // carried along, read by nothing
};

class RealUARTConfiguration : public UARTConfiguration::Implementation, public UARTConfigurationData {
public:
    RealUARTConfiguration(const name_store& name, const UARTConfigurationData& data)
        : Implementation(name), UARTConfigurationData(data) {}
    bool getFlowControlOn() const override { return flowControl; }
    UARTAbstraction* make() const override;
    // False for a wide name; otherwise whether the device opens.
    bool testOpen() const override;
};

// The watcher pointer and the lock that guards it.
class Watched {
public:
    Watched();
    virtual ~Watched();
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;
    void SetWatcher(DataWatcher* watcher);

protected:
    void* mWatchLock;
    DataWatcher* mWatcher = nullptr;
};

// The facade the H4 stack holds.
class UARTAbstraction : public Counter {
public:
    enum fcmode { fc_none = 0, fc_rtscts = 1 };

    class implementation : public Watched {
    public:
        ~implementation() override = default;
        virtual bool open() = 0;
        virtual bool read(unsigned char* buffer, unsigned long length, unsigned long* count) = 0;
        virtual bool write(const unsigned char* data, unsigned long length, unsigned long* count) = 0;
        virtual UARTWaitResult wait(unsigned long ms, unsigned long* count) = 0;
        virtual bool reopen() = 0;
        virtual std::string getName() const = 0;
        virtual int readCTS() = 0;
        virtual int readRTS() = 0;
        virtual void expectPulse() = 0;
        virtual void setRTS(bool on) = 0;
        virtual bool setBaudRate(unsigned long rate) = 0;
        virtual unsigned long getBaudRate() const = 0;
        virtual bool setHWFC(bool on) = 0;
        virtual bool setHWFC(fcmode mode) = 0;
        virtual void abortWait() = 0;
        virtual void reqXmit() = 0;
        virtual void waitForCTSPulse() = 0;
        virtual int setPioDrives(unsigned, unsigned) { return 0; }
        virtual int setPios(unsigned, unsigned) { return 0; }
        virtual int getPios(unsigned*) { return 0; }
        virtual int reset() { return 0; }
    };

    // Takes ownership of the implementation.
    explicit UARTAbstraction(implementation* impl) : mImpl(impl) {}
    ~UARTAbstraction() override;
    UARTAbstraction(const UARTAbstraction&) = delete;
    UARTAbstraction& operator=(const UARTAbstraction&) = delete;

    bool open() { return mImpl->open(); }
    bool read(unsigned char* buffer, unsigned long length, unsigned long* count) {
        return mImpl->read(buffer, length, count);
    }
    bool write(const unsigned char* data, unsigned long length, unsigned long* count) {
        return mImpl->write(data, length, count);
    }
    UARTWaitResult wait(unsigned long ms, unsigned long* count) { return mImpl->wait(ms, count); }
    bool reopen() { return mImpl->reopen(); }
    std::string getName() const { return mImpl->getName(); }
    int readCTS() { return mImpl->readCTS(); }
    int readRTS() { return mImpl->readRTS(); }
    void expectPulse() { mImpl->expectPulse(); }
    void setRTS(bool on) { mImpl->setRTS(on); }
    bool setBaudRate(unsigned long rate) { return mImpl->setBaudRate(rate); }
    unsigned long getBaudRate() const { return mImpl->getBaudRate(); }
    bool setHWFC(bool on) { return mImpl->setHWFC(on); }
    bool setHWFC(fcmode mode) { return mImpl->setHWFC(mode); }
    void abortWait() { mImpl->abortWait(); }
    void reqXmit() { mImpl->reqXmit(); }
    void waitForCTSPulse() { mImpl->waitForCTSPulse(); }
    int LastError() const { return 0; }
    void setDataWatch(DataWatcher* watcher) { mImpl->SetWatcher(watcher); }

private:
    implementation* mImpl;
};

// An empty trace mix-in.
class debugtracer {};

// Everything that does not depend on the kind of port: the threads, the
// handshakes, open, read, write, wait.
class UARTImplAbs : public debugtracer, public UARTAbstraction::implementation {
public:
    UARTImplAbs();
    ~UARTImplAbs() override;

    bool open() override;
    bool read(unsigned char* buffer, unsigned long length, unsigned long* count) override;
    bool write(const unsigned char* data, unsigned long length, unsigned long* count) override;
    UARTWaitResult wait(unsigned long ms, unsigned long* count) override;
    bool reopen() override;
    void abortWait() override;
    void reqXmit() override;
    void waitForCTSPulse() override {}
    int readCTS() override { return 0; }
    int readRTS() override { return 0; }
    void expectPulse() override {}
    void setRTS(bool) override {}

    // Opens the device and sets it up; fd() is the descriptor afterwards.
    virtual bool open_detail() = 0;
    virtual bool SetBaudRate_notermios(unsigned long) { return false; }
    virtual std::string getDeviceName() const = 0;

protected:
    int mFd = -1;
    // Closes the port and ends the threads, once; what the destructor does.
    void Shutdown();

private:
    enum { idle = 0, requested = 1, done = 2, writing = 3 };
    // The most one read of the port takes; what the caller did not ask for
    // yet is kept for its next read.
    static const unsigned long kReadAhead = 4096;

    static void* __txThread(void* self);
    static void* __rxThread(void* self);
    static void __unlockMutexThread(void* self);
    void txThread();
    void rxThread();
    bool AwaitRequest(const uint32_t* state, pthread_cond_t* cond);
    // Blocks in poll until the descriptor is ready or the port is stopped;
    // false when stopped.
    bool WaitReady(short events);
    // Moves up to length read-ahead bytes to the caller's buffer; under mMutexThread.
    unsigned long TakeAhead(unsigned char* buffer, unsigned long length);

    uint32_t mTxState = idle;  // idle, requested, done; writing while write() itself writes
    unsigned char* mTxBuffer = nullptr;
    unsigned long mTxLength = 0;
    unsigned long mTxCapacity = 0;
    unsigned long mTxSent = 0;  // of the write in flight, what is out already
    uint32_t mRxState = idle;
    unsigned char* mRxBuffer = nullptr;
    unsigned long mRxLength = 0;
    unsigned char mAheadRead[kReadAhead];  // the receive thread's own
    unsigned char mAhead[kReadAhead];      // read ahead, not yet asked for
    unsigned long mAheadStart = 0;
    unsigned long mAheadEnd = 0;
    uint32_t mCtsState = idle;  // nothing sets it on this kind of port
    unsigned char mZeroed = 0;
    unsigned char mStop = 0;
    unsigned char mAbortWait = 0;
    unsigned char mXmitRequest = 0;
    unsigned char mDied = 0;       // the port went away; reported by wait once
    unsigned char mDiedTold = 0;
    pthread_t txThreadID{};
    pthread_t rxThreadID{};
    pthread_t ctsThreadID{};  // never started
    bool mThreadsStarted = false;
    bool mSignalHandlerOurs = false;
    // Set while a packet capture runs: sees every byte written and read.
    std::unique_ptr<H4CaptureTap> mTap;
    int mWake[2] = {-1, -1};  // written on stop, so that a blocked thread wakes
    unsigned mTxFailures = 0;
    unsigned mRxFailures = 0;
    pthread_mutex_t mMutexEnv;
    pthread_mutex_t mMutexThread;
    pthread_cond_t mCondDone;
    pthread_cond_t mCondDoTx;
    pthread_cond_t mCondDoRx;
    pthread_cond_t mCondDoCts;
};

// The termios port.
class UARTImplUART : public UARTImplAbs {
public:
    explicit UARTImplUART(const RealUARTConfiguration& configuration);
    ~UARTImplUART() override;

    std::string getName() const override;
    std::string getDeviceName() const override;
    bool open_detail() override;
    bool setBaudRate(unsigned long rate) override;
    unsigned long getBaudRate() const override { return mBaud; }
    bool setHWFC(bool on) override;
    bool setHWFC(UARTAbstraction::fcmode mode) override;

    // The termios code of a rate, 0 for a rate the port cannot take.
    static unsigned BaudCode(unsigned long rate);

private:
    // Stores the rate as current and puts its code into c_cflag; false (and
    // the bits left as they were) for a rate that is not in the table.
    bool SetBaudRate_termios(unsigned long rate);
    bool ConfigurePort();

    RealUARTConfiguration mConfiguration;
    struct termios mTios {};
    unsigned long mBaud;
};
