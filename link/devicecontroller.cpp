#include "link/devicecontroller.h"

#include "enginefw/critical_section.h"
#include "link/devicecontroller_impl.h"
#include "pdu/hci_commands.h"
#include "pdu/hcipdu.h"
#include "pdu/tscmd_pdus.h"

const CountedPointer<TesselDeviceController_newStyle::PDUCallBack> no_call_back;

// ---------------------------------------------------------------------------
// Regulator, Collector, AclDataTracker

Regulator::Regulator(SignalBox& box, int32_t initialTokens, uint32_t secondWord, uint32_t thirdWord)
    : tokens(initialTokens), second(secondWord), third(thirdWord), lock(CriticalSection::InitialiseCS(true)),
      item(&box) {
    box.AddItem(&item);
}

Regulator::~Regulator() {
    item.box->RemoveItem(&item);
    CriticalSection::DestroyCS(lock);
}

void Regulator::setToken(int n) {
    CriticalSectionLock hold(lock);
    tokens = n;
    if (n != 0 && pending != 0) {
        item.box->setItem(item);
    }
}

Collector::Collector(SignalBox& box) : mLock(CriticalSection::InitialiseCS(true)), mItem(&box), mBox(box) {
    mBox.AddItem(&mItem);
}

Collector::~Collector() {
    mBox.RemoveItem(&mItem);
    CriticalSection::DestroyCS(mLock);
}

void Collector::onPDU(PDU::ts_channel channel, const unsigned char* data, unsigned int length) {
    CriticalSectionLock hold(mLock);
    mQueue.push_back(PDU(channel, data, length));
    ++mCount;
    mBox.setItem(mItem);
}

bool Collector::Take(PDU& pdu) {
    CriticalSectionLock hold(mLock);
    if (mCount == 0) {
        return false;
    }
    pdu = mQueue.front();
    mQueue.pop_front();
    if (--mCount == 0) {
        mBox.unsetItem(mItem);
    }
    return true;
}

AclDataTracker::AclDataTracker() : mLock(CriticalSection::InitialiseCS(true)) {}

AclDataTracker::~AclDataTracker() { CriticalSection::DestroyCS(mLock); }

void AclDataTracker::addConnection(uint16_t handle) {
    CriticalSectionLock hold(mLock);
    mWaiting.emplace(handle, 0);
}

void AclDataTracker::removeConnection(uint16_t handle) {
    CriticalSectionLock hold(mLock);
    mWaiting.erase(handle);
}

bool AclDataTracker::usingConnection(uint16_t handle) const {
    CriticalSectionLock hold(mLock);
    return mWaiting.count(handle) != 0;
}

void AclDataTracker::addData(const PDU& pdu) {
    const HCIACLPDU acl(pdu);
    CriticalSectionLock hold(mLock);
    const auto found = mWaiting.find(acl.get_handle());
    if (found != mWaiting.end()) {
        found->second += acl.get_length();
    }
}

void AclDataTracker::removeData(PDU& pdu) {
    const HCIACLPDU acl(pdu);
    CriticalSectionLock hold(mLock);
    const auto found = mWaiting.find(acl.get_handle());
    if (found != mWaiting.end()) {
        found->second -= acl.get_length();
    }
}

uint32_t AclDataTracker::getDataWaiting(uint16_t handle) const {
    CriticalSectionLock hold(mLock);
    const auto found = mWaiting.find(handle);
    return found == mWaiting.end() ? 0 : found->second;
}

// ---------------------------------------------------------------------------
// The implementation's base: the worker and its stop

TesselDeviceController::Implementation::Implementation() : mStopItem(&mWorkBox), mStoppedItem(&mStoppedBox) {
    mWorkBox.AddItem(&mStopItem);
    mStoppedBox.AddItem(&mStoppedItem);
    // No worker runs yet.
    mStoppedBox.setItem(mStoppedItem);
}

TesselDeviceController::Implementation::~Implementation() {
    stopWork();
    delete mWorker;
    mStoppedBox.RemoveItem(&mStoppedItem);
    mWorkBox.RemoveItem(&mStopItem);
}

TesselDeviceController::Implementation::DeviceControllerImplementationThread::
    ~DeviceControllerImplementationThread() {
    Kill(1000);
}

unsigned int TesselDeviceController::Implementation::DeviceControllerImplementationThread::ThreadFunc() {
    mImpl->waitForWork();
    return 0;
}

bool TesselDeviceController::Implementation::isTransportReady(unsigned long ms) {
    if (!mTransportReady) {
        mTransportReady = getTransport()->ready(ms);
    }
    return mTransportReady;
}

bool TesselDeviceController::Implementation::doWork() {
    if (mStopping) {
        return false;
    }
    checkQueues();
    return true;
}

void TesselDeviceController::Implementation::createWorker() {
    if (mWorker == nullptr) {
        mWorker = new DeviceControllerImplementationThread(this);
    }
    if (!mWorker->IsActive()) {
        // Unset before the thread runs, so that a stop that comes at once
        // waits for the worker rather than taking it for never started.
        mStoppedBox.unsetItem(mStoppedItem);
        mWorker->Start();
        if (!mWorker->IsActive()) {
            mStoppedBox.setItem(mStoppedItem);
        }
    }
}

void TesselDeviceController::Implementation::waitForWork() {
    mStoppedBox.unsetItem(mStoppedItem);
    for (;;) {
        if (!mWorkBox.wait(1000)) {
            continue;
        }
        if (!doWork()) {
            break;
        }
    }
    mStoppedBox.setItem(mStoppedItem);
}

void TesselDeviceController::Implementation::stopWork() {
    mStopping = true;
    mWorkBox.setItem(mStopItem);
    while (!mStoppedBox.wait(0xFFFFFFFF)) {
    }
}

// ---------------------------------------------------------------------------
// The new-style implementation: construction, sending, resets

TesselDeviceController_newStyle::Implementation::Implementation(const TransportConfiguration& configuration,
                                                                CallBackProvider& provider)
    : mProvider(provider), mMainCollector(mWorkBox), mUpstreamCollector(mWorkBox), mTransportFail(provider) {
    mMainTransport = new TesselTransport(configuration, CallBacks{&mMainCollector, &mTransportFail});
    for (unsigned channel = 0; channel < kChannels; ++channel) {
        switch (channel) {
        case PDU::tscmd_channel:
        case PDU::hci_channel:
            mRegulators[channel] = new Regulator(mWorkBox, 1, 1000, 1);
            break;
        case PDU::acl_channel:
            mRegulators[channel] = new Regulator(mWorkBox, 0, 0, 1);
            break;
        default:
            mRegulators[channel] = new Regulator(mWorkBox, -10, 0, 1);
            break;
        }
    }
}

TesselDeviceController_newStyle::Implementation::~Implementation() {
    if (mUpstreamTransport != nullptr) {
        mUpstreamTransport->stop();
    }
    mMainTransport->stop();
    stopWork();
    for (Regulator*& regulator : mRegulators) {
        delete regulator;
        regulator = nullptr;
    }
    delete mUpstreamTransport;
    delete mMainTransport;
    delete mUpstreamFail;
    mPassUp.clr();
    mSecondCallback.clr();
}

namespace {

// Commands that answer the chip: they must not wait for command credit.
bool AnswersTheChip(uint16_t opcode) {
    return (opcode >= 0x0409 && opcode <= 0x040E) || (opcode >= 0x0429 && opcode <= 0x0430) || opcode == 0x0433 ||
           opcode == 0x0434 || opcode == 0x0445 || opcode == 0x0C03 || opcode == 0x0C35 || opcode == 0x201A ||
           opcode == 0x201B;
}

}  // namespace

bool TesselDeviceController_newStyle::Implementation::send(const sae& entry, bool queued) {
    const uint32_t channel = entry.pdu.channel();
    const bool command = channel == PDU::hci_channel;
    const uint16_t opcode = command ? HCICommandPDU(entry.pdu).get_op_code() : 0;
    if (command && opcode == 0x0407) {
        mRequestedBandwidth += ScoStep();
    }
    if (channel >= kChannels) {
        return SendDirect(*mRegulators[0], entry);
    }
    Regulator& regulator = *mRegulators[channel];
    if (!queued || (command && AnswersTheChip(opcode))) {
        return SendDirect(regulator, entry);
    }
    {
        CriticalSectionLock hold(regulator.lock);
        regulator.queue.push_back(entry);
        ++regulator.pending;
        if (regulator.tokens != 0) {
            mWorkBox.setItem(regulator.item);
        }
    }
    if (channel == PDU::acl_channel) {
        mTracker.addData(entry.pdu);
    }
    return true;
}

bool TesselDeviceController_newStyle::Implementation::SendDirect(Regulator& regulator, const sae& entry) {
    {
        CriticalSectionLock hold(regulator.lock);
        regulator.current = entry.callback;
    }
    mMainTransport->sendpdu(entry.pdu);
    return true;
}

bool TesselDeviceController_newStyle::Implementation::forceReset(unsigned long ms, ResetType type) {
    switch (type) {
    case cold_reset: {
        TSCMD_COLD_RESET_PDU reset;
        reset.set_req_type(2);
        reset.set_seq_no(3661);
        mMainTransport->blockUntilSentPdu(reset, ms);
        return true;
    }
    case warm_reset: {
        TSCMD_WARM_RESET_PDU reset;
        reset.set_req_type(2);
        reset.set_seq_no(3661);
        mMainTransport->blockUntilSentPdu(reset, ms);
        return true;
    }
    case hci_reset:
        mMainTransport->blockUntilSentPdu(HCI_RESET_T_PDU(), ms);
        return true;
    default:
        return false;
    }
}

bool TesselDeviceController_newStyle::Implementation::sendRawAny(PDU::ts_channel channel, const unsigned char* data,
                                                                 unsigned long length, bool queued) {
    return send(sae(PDU(channel, data, length), no_call_back), queued);
}

int TesselDeviceController_newStyle::Implementation::reconfigure_uart_baudrate(unsigned long rate) {
    return mMainTransport->reconfigure_uart_baudrate(rate);
}

bool TesselDeviceController_newStyle::Implementation::offerConnection(const TransportConfiguration& configuration) {
    if (mUpstreamTransport != nullptr) {
        return false;
    }
    mUpstreamFail = new TransportFail(mProvider);
    mUpstreamTransport = new TesselTransport(configuration, CallBacks{&mUpstreamCollector, mUpstreamFail});
    mPassUp = new pass_up(mUpstreamTransport);
    return mUpstreamTransport->start();
}

bool TesselDeviceController_newStyle::Implementation::purge_channel(PDU::ts_channel channel) {
    if (channel >= kChannels) {
        return false;
    }
    Regulator& regulator = *mRegulators[channel];
    CriticalSectionLock hold(regulator.lock);
    const bool held = !regulator.queue.empty();
    regulator.queue.clear();
    regulator.pending = 0;
    mWorkBox.unsetItem(regulator.item);
    regulator.current.clr();
    return held;
}

bool TesselDeviceController_newStyle::Implementation::sendUp(const PDU& pdu) {
    if (mUpstreamTransport == nullptr) {
        return false;
    }
    mUpstreamTransport->sendpdu(pdu);
    return true;
}

unsigned long TesselDeviceController_newStyle::Implementation::pendingItemCountOnRegulator() {
    unsigned long total = 0;
    for (Regulator* regulator : mRegulators) {
        CriticalSectionLock hold(regulator->lock);
        total += regulator->pending;
    }
    return total;
}

// ---------------------------------------------------------------------------
// The public faces

bool TesselDeviceController::isTransportReady(unsigned long ms) { return getImplementation()->isTransportReady(ms); }

bool TesselDeviceController::startTransport() { return getImplementation()->getTransport()->start(); }

bool TesselDeviceController::forceReset(unsigned long ms, ResetType type) {
    return getImplementation()->forceReset(ms, type);
}

void TesselDeviceController::setDataWatch(DataWatcher* watcher) {
    getImplementation()->getTransport()->setDataWatch(watcher);
}

bool TesselDeviceController::doWork() { return getImplementation()->doWork(); }

void TesselDeviceController::createWorker() { getImplementation()->createWorker(); }

void TesselDeviceController::waitForWork() { getImplementation()->waitForWork(); }

int TesselDeviceController::SleepControl(SleepType) { return 0; }

int TesselDeviceController::PingPeriod(int) { return 0; }

int TesselDeviceController::reconfigure_uart_baudrate(unsigned long rate) {
    return getImplementation()->reconfigure_uart_baudrate(rate);
}

bool TesselDeviceController::sendRawAny(PDU::ts_channel channel, const unsigned char* data, unsigned long length,
                                        bool queued) {
    return getImplementation()->sendRawAny(channel, data, length, queued);
}

TesselDeviceController_newStyle::TesselDeviceController_newStyle(const TransportConfiguration& configuration,
                                                                 CallBackProvider& provider)
    : mImpl(new Implementation(configuration, provider)) {}

TesselDeviceController_newStyle::~TesselDeviceController_newStyle() { delete mImpl; }

TesselDeviceController::Implementation* TesselDeviceController_newStyle::getImplementation() const { return mImpl; }

bool TesselDeviceController_newStyle::offerConnection(const TransportConfiguration& configuration) {
    return mImpl->offerConnection(configuration);
}

bool TesselDeviceController_newStyle::send(const sae& entry, bool queued) { return mImpl->send(entry, queued); }

bool TesselDeviceController_newStyle::send(const PDU& pdu, bool queued) {
    return mImpl->send(sae(pdu, no_call_back), queued);
}

bool TesselDeviceController_newStyle::purge_channel(PDU::ts_channel channel) { return mImpl->purge_channel(channel); }

bool TesselDeviceController_newStyle::sendUp(const PDU& pdu) { return mImpl->sendUp(pdu); }

unsigned long TesselDeviceController_newStyle::getSizeOfDataWaitingOnHandle(unsigned short handle) {
    return mImpl->getSizeOfDataWaitingOnHandle(handle);
}

unsigned long TesselDeviceController_newStyle::pendingItemCountOnRegulator() {
    return mImpl->pendingItemCountOnRegulator();
}

TCIphys::TCIphys(const H4Configuration& configuration, TesselDeviceController_newStyle::CallBackProvider& provider)
    : mImpl(new TesselDeviceController_newStyle::Implementation(configuration, provider)) {}

TCIphys::~TCIphys() { delete mImpl; }

TesselDeviceController::Implementation* TCIphys::getImplementation() const { return mImpl; }

bool TCIphys::sendCommand(const PDU& pdu) { return mImpl->send({pdu, no_call_back}, true); }

bool TCIphys::sendACL(const PDU& pdu) { return mImpl->send({pdu, no_call_back}, true); }

bool TCIphys::sendSCO(const PDU& pdu) { return mImpl->send({pdu, no_call_back}, true); }

bool TCIphys::sendEvent(const PDU& pdu) { return mImpl->send({pdu, no_call_back}, true); }
