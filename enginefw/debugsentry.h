// Entry and exit lines of a traced function.
//
// The constructor prints "-> name" (level 0, raising the indent) and a
// profiling line when debug output is activated; the exit line "<- name" comes
// from the destructor or an earlier PrintExit(), once. While an exception is
// propagating the exit line reads "<- name !!! EXCEPTION !!!" instead.
//
// CDebugSentryWithReturn<T> reads the caller's result variable when it prints
// its exit line. T is one of int, bool, const char*, char*, unsigned long long
// and std::string:
//
//   int                         "<- %s [returning %d]"
//   bool                        "<- %s [returning %s]" with "true" or "false"
//   const char*, char*, string  "<- %s [returning \"%s\"]" (a null text reads "(null)")
//   unsigned long long          "<- %s [returning %lld]" (printed as signed)
//
// A null result pointer gives the plain "<- name" line.
#pragma once

#include <string>
#include <type_traits>

#include "enginefw/messagehandler.h"

class CDebugSentry {
public:
    CDebugSentry(CMessageHandler* handler, unsigned line, const char* file, const char* prettyFunction);
    virtual ~CDebugSentry();
    CDebugSentry(const CDebugSentry&) = delete;
    CDebugSentry& operator=(const CDebugSentry&) = delete;

    // Prints the exit line now, once.
    virtual void PrintExit();
    // The exit line unless already printed, in its exception form while an
    // exception propagates.
    void CheckPrintExit();

protected:
    // Marks the exit as printed; false if it already was.
    bool ClaimExit();
    CMessageHandler* Handler() const { return mpHandler; }
    const char* File() const { return mFile.c_str(); }
    unsigned Line() const { return mLine; }
    const char* FunctionName() const { return mFunction.c_str(); }

private:
    CMessageHandler* mpHandler;
    unsigned mLine;
    bool mExitPrinted = false;
    std::string mFile;
    std::string mFunction;
};

template <typename T>
class CDebugSentryWithReturn : public CDebugSentry {
    static_assert(std::is_same<T, int>::value || std::is_same<T, bool>::value ||
                      std::is_same<T, const char*>::value || std::is_same<T, char*>::value ||
                      std::is_same<T, unsigned long long>::value || std::is_same<T, std::string>::value,
                  "CDebugSentryWithReturn is made for int, bool, const char*, char*, unsigned long long and "
                  "std::string results");

public:
    CDebugSentryWithReturn(CMessageHandler* handler, unsigned line, const char* file, const char* prettyFunction,
                           T* result)
        : CDebugSentry(handler, line, file, prettyFunction), mpResult(result) {}
    // Reached before the base destructor, so that this class's PrintExit is the one used.
    ~CDebugSentryWithReturn() override { CheckPrintExit(); }

    void PrintExit() override {
        if (mpResult == nullptr) {
            CDebugSentry::PrintExit();
            return;
        }
        if (!ClaimExit()) {
            return;
        }
        CMessageHandler* const handler = Handler();
        if (handler == nullptr) {
            return;
        }
        const char* const name = FunctionName();
        constexpr unsigned level = CMessageHandler::DEBUG_ENTRY_EXIT;
        if constexpr (std::is_same<T, int>::value) {
            handler->DebugOutputInHandler(level, false, true, name, File(), Line(), "<- %s [returning %d]", name,
                                          *mpResult);
        } else if constexpr (std::is_same<T, bool>::value) {
            handler->DebugOutputInHandler(level, false, true, name, File(), Line(), "<- %s [returning %s]", name,
                                          *mpResult ? "true" : "false");
        } else if constexpr (std::is_same<T, unsigned long long>::value) {
            handler->DebugOutputInHandler(level, false, true, name, File(), Line(), "<- %s [returning %lld]", name,
                                          static_cast<long long>(*mpResult));
        } else if constexpr (std::is_same<T, std::string>::value) {
            handler->DebugOutputInHandler(level, false, true, name, File(), Line(), "<- %s [returning \"%s\"]",
                                          name, mpResult->c_str());
        } else {
            handler->DebugOutputInHandler(level, false, true, name, File(), Line(), "<- %s [returning \"%s\"]",
                                          name, *mpResult != nullptr ? *mpResult : "(null)");
        }
    }

private:
    T* mpResult;
};
