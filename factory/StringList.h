// Heap-copied strings with an optional callback each, for matching lines of
// tool output against a set of needles.
#pragma once

struct STRING_NODE {
    STRING_NODE* next;
    char* string;              // own heap copy
    void (*callback)(void*);  // may be null
    void* arg;
};

class CStringList {
public:
    CStringList() = default;
    ~CStringList();
    CStringList(const CStringList&) = delete;
    CStringList& operator=(const CStringList&) = delete;

    void Push(const char* text, void (*callback)(void*), void* arg);
    void Push(const char* text, void (*callback)(void*)) { Push(text, callback, nullptr); }
    void Push(const char* text) { Push(text, nullptr, nullptr); }
    // Unlinks the head and returns its string, which the caller releases
    // with delete[]; null when empty.
    char* Pop();
    // The first node whose string occurs anywhere in `text`: the argument is
    // the haystack, the list's strings are the needles.
    STRING_NODE* IsStringExist(const char* text);
    bool IsEmpty() const { return head == nullptr; }
    int GetCount() const { return count; }

private:
    STRING_NODE* head = nullptr;
    STRING_NODE* tail = nullptr;
    int count = 0;
};
