// Devices found by a WLAN scan or a Bluetooth inquiry, and the list that
// owns them.
#pragma once

struct SCAN_INFO_NODE {
    SCAN_INFO_NODE* next;
    char mac[24];     // address text; the key of FindNodebyMAC
    char name[258];   // SSID or device name: 257 characters and a terminator
    int rssi_sum;     // Bluetooth: sum of the RSSI of all sightings
    int rssi_count;   // Bluetooth: number of sightings
    int signal_dbm;   // WLAN: the signal value of the scan tool
};

// Singly linked list of zero-filled heap nodes. The list owns what it holds;
// whoever pops a node owns it. Not thread safe: each list lives on the stack
// of one command or tool run.
class CScanList {
public:
    CScanList() = default;
    ~CScanList();
    CScanList(const CScanList&) = delete;
    CScanList& operator=(const CScanList&) = delete;

    // Appends `node` and takes it. A node that is in this list already is
    // moved to the tail, and the nodes that followed it are cut off; they
    // are freed here rather than lost.
    void Push(SCAN_INFO_NODE* node);
    // Removes and returns the head, null when empty. `tail` is left as it
    // is: emptiness is told by `head` alone.
    SCAN_INFO_NODE* Pop();
    // First node whose `mac` begins with `mac`, or null.
    SCAN_INFO_NODE* FindNodebyMAC(const char* mac);
    bool isEmpty() const { return head == nullptr; }
    int GetNodeCount() const { return count; }

    // A fresh zero-filled node.
    static SCAN_INFO_NODE* NewNode() { return new SCAN_INFO_NODE(); }

private:
    SCAN_INFO_NODE* head = nullptr;
    SCAN_INFO_NODE* tail = nullptr;
    int count = 0;
};
