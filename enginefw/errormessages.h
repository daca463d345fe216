// The last error of each thread, shared by every handler's error object.
//
// All error objects read and write one process-wide map keyed by thread id,
// under one recursive lock. A thread keeps one error; sequence numbers (from the
// message handler's counter) order errors across threads. The map grows by one
// entry for each thread that ever sets an error and does not clear it; nothing
// prunes it.
#pragma once

#include <string>

class CErrorMessages {
public:
    struct CErrorMsgData {
        std::string text;
        unsigned long sequence = 0;
        short code = 0;
    };

    // A new error object wipes the creating thread's error.
    CErrorMessages();
    virtual ~CErrorMessages();

    // Makes sure the map and its lock exist; run from a static initialiser so
    // that they outlive every error object.
    static void InitialiseClass();

    // Stores the calling thread's error, replacing an earlier one.
    void Set(short code, const std::string& text, unsigned long sequence);
    // The entry of the smallest thread id not below threadCursor; writes that id
    // back to threadCursor. False past the end. Step by adding 1 to the cursor.
    bool Get(short& code, std::string& text, unsigned long& sequence, unsigned long& threadCursor) const;
    bool IsSet() const;
    void Clear();
};
