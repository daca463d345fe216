#include "factory/ScanList.h"

#include <cstring>

CScanList::~CScanList() {
    while (head != nullptr) {
        SCAN_INFO_NODE* next = head->next;
        delete head;
        head = next;
    }
}

void CScanList::Push(SCAN_INFO_NODE* node) {
    if (node == nullptr) return;
    if (head == nullptr) {
        head = node;
        tail = node;
        ++count;
        return;
    }
    bool linked = false;
    int position = 0;
    for (SCAN_INFO_NODE* n = head; n != nullptr; n = n->next) {
        ++position;
        if (n == node) {
            linked = true;
            break;
        }
    }
    if (linked) {
        // The node stays where it is and becomes the tail: everything behind
        // it leaves the list.
        for (SCAN_INFO_NODE* n = node->next; n != nullptr;) {
            SCAN_INFO_NODE* next = n->next;
            delete n;
            n = next;
        }
        node->next = nullptr;
        tail = node;
        count = position;
        return;
    }
    tail->next = node;
    node->next = nullptr;
    tail = node;
    ++count;
}

SCAN_INFO_NODE* CScanList::Pop() {
    SCAN_INFO_NODE* node = head;
    if (node == nullptr) return nullptr;
    head = node->next;
    node->next = nullptr;  // the popped node no longer leads into the list
    --count;
    return node;
}

SCAN_INFO_NODE* CScanList::FindNodebyMAC(const char* mac) {
    if (mac == nullptr) return nullptr;
    const size_t length = std::strlen(mac);
    for (SCAN_INFO_NODE* n = head; n != nullptr; n = n->next) {
        if (std::strncmp(n->mac, mac, length) == 0) return n;
    }
    return nullptr;
}
