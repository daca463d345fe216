#include "link/phys/h4/h4transport.h"

namespace {

// What a queued packet keeps alive until it has gone: its bytes, and the item
// that tells blockUntilSentPdu.
struct SentRecord {
    PDU pdu;
    SignalBox::Item* sent;
};

}  // namespace

H4Transport::H4Transport(const CountedPointer<UARTAbstraction>& uart, const CallBacks& callbacks, bool tunnelling)
    : TesselTransportImplementation("H4Transport", callbacks, tunnelling), mStack(uart) {
    init();
}

H4Transport::~H4Transport() { mStack.Stop(); }

void H4Transport::init() {
    mStack.setupRecvCommand(&mHci, onPacketFromChip);
    mStack.setupRecvEvent(&mHci, onPacketFromChip);
    mStack.setupRecvACLData(&mAcl, onPacketFromChip);
    mStack.setupRecvSCOData(&mSco, onPacketFromChip);
}

bool H4Transport::start() {
    if (!mStack.Start()) {
        return false;
    }
    mStack.setupOnSyncLoss(onSyncLoss, this);
    mStack.setupOnUartDies(onUartDies, this);
    return true;
}

void H4Transport::sendpdu(const PDU& pdu) {
    const PDU::ts_channel channel = pdu.channel();
    switch (channel) {
    case PDU::hci_channel:
    case PDU::acl_channel:
    case PDU::sco_channel:
    case PDU::dp_channel:
    case PDU::raw_channel:
        break;
    default:
        sendTunnel(pdu);
        return;
    }
    auto* record = new SentRecord{pdu, &SentItem()};
    auto* callback = new CallBack;
    callback->initialise(record, onPacketSent);
    const unsigned char* data = record->pdu.data();
    const auto length = static_cast<unsigned int>(record->pdu.size());
    switch (channel) {
    case PDU::hci_channel:
        mStack.sendCommand(data, length & 0xFFFF, callback);
        break;
    case PDU::acl_channel:
        mStack.sendACLData(data, length, callback);
        break;
    case PDU::sco_channel:
        mStack.sendSCOData(data, length, callback);
        break;
    case PDU::dp_channel:
        mStack.sendDp(data, length, callback);
        break;
    default:
        mStack.sendRaw(data, length, callback);
        break;
    }
}

void H4Transport::onPacketSent(bool, void* context) {
    auto* record = static_cast<SentRecord*>(context);
    record->sent->box->setItem(*record->sent);
    delete record;
}

void H4Transport::onPacketFromChip(unsigned char* data, unsigned int length, void* context) {
    const Pair* pair = static_cast<const Pair*>(context);
    pair->transport->processPacketFromChip(pair->channel, data, length);
}

void H4Transport::processPacketFromChip(PDU::ts_channel channel, unsigned char* data, unsigned int length) {
    recvData(channel, data, length);
}

void H4Transport::onUartDies(void* context) { static_cast<H4Transport*>(context)->onLinkFail(uart_died); }

void H4Transport::onSyncLoss(void* context) { static_cast<H4Transport*>(context)->onLinkFail(sync_lost); }

H4Configuration::H4Configuration(const char* device, int baud, bool tunnel)
    : BaseH4Configuration(UARTConfiguration(device, static_cast<unsigned long>(baud), UARTConfiguration::none, 1,
                                            true, 1),
                          tunnel) {}

H4Configuration::H4Configuration(const wchar_t* device, int baud, bool tunnel)
    : BaseH4Configuration(UARTConfiguration(device, static_cast<unsigned long>(baud), UARTConfiguration::none, 1,
                                            true, 1),
                          tunnel) {}

TesselTransportImplementation* H4Configuration::make(const CallBacks& callbacks) const {
    return new H4Transport(CountedPointer<UARTAbstraction>(mUart.make()), callbacks, mTunnel != 0);
}
