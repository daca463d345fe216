#include "factory/StringList.h"

#include <cstring>

#include "factory/FactoryUtil.h"

CStringList::~CStringList() {
    while (head != nullptr) {
        STRING_NODE* next = head->next;
        delete[] head->string;
        delete head;
        head = next;
    }
}

void CStringList::Push(const char* text, void (*callback)(void*), void* arg) {
    if (text == nullptr) text = "";
    const size_t length = std::strlen(text);
    auto* node = new STRING_NODE{nullptr, new char[length + 1], callback, arg};
    std::memcpy(node->string, text, length + 1);
    if (head == nullptr) {
        head = node;
    } else {
        tail->next = node;
    }
    tail = node;
    ++count;
}

char* CStringList::Pop() {
    STRING_NODE* node = head;
    if (node == nullptr) return nullptr;
    head = node->next;
    if (head == nullptr) tail = nullptr;
    char* text = node->string;
    delete node;
    --count;
    return text;
}

STRING_NODE* CStringList::IsStringExist(const char* text) {
    for (STRING_NODE* n = head; n != nullptr; n = n->next) {
        if (findString(text, n->string) >= 0) return n;
    }
    return nullptr;
}
