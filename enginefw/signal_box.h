// Wait on many signals at once.
//
// Items live in the objects that own the signals and are linked into one box.
// Setting any item wakes the box's single waiter. wait() clears nothing: the
// waiter unsets its item before it next asks for the event (unset, start the
// operation, wait). wait(0xFFFFFFFF) waits without a practical limit; a box with
// no items never waits at all.
#pragma once

class SignalBox {
public:
    class SignalBoxData;

    struct Item {
        explicit Item(SignalBox* owner = nullptr) : box(owner) {}
        SignalBox* box;
        unsigned char set = 0;
        Item* next = nullptr;
    };

    SignalBox();
    ~SignalBox();
    SignalBox(const SignalBox&) = delete;
    SignalBox& operator=(const SignalBox&) = delete;

    // Links the item in (cleared) and points its box field at this box. Null is ignored.
    void AddItem(Item* item);
    // Clears and unlinks the item. An item that is not linked in is left alone.
    void RemoveItem(Item* item);
    void setItem(Item& item);
    // Clears the item; true when another item of the box is still set.
    bool unsetItem(Item& item);
    // True when an item is set; false on time-out, and at once for an empty box.
    bool wait(unsigned int ms);

private:
    SignalBoxData* mData;
};
