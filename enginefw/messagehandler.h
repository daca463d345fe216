// One message group's output: debug queue, status queue, progress and error objects.
//
// Handlers are owned by CTheMsgHnd, one per group; fetch them with
// CTheMsgHnd::GetAppropriateHandler. A handler with no queue prints nothing.
//
// Group operations (SetDebugLevel, SetStatusLevel, IsDebugLevelEnabled,
// New*Object, SendAll*, LastError, IsErrorSet) take a selector: GROUP_ALL
// selects every group, GROUP_LOCAL the handler's own group, any other value that
// group. On a handler that stands in no map (the dummy handler, or one built by
// hand) they do nothing at all and answer false.
//
// The four owned objects are replaced and read under the queue lock
// (CMsgQueue::GetMsgQueueCriticalSection), so a thread may trace while another
// changes the configuration. Pointers returned by the Get...() accessors are
// valid until that object is next replaced.
#pragma once

#include <ostream>
#include <string>

class CProgressMsg;
class CDebugMsg;
class CStatusMsg;
class CErrorMessages;

class CSubject {
public:
    virtual ~CSubject();
};

class CMessageHandler : public CSubject {
public:
    enum GroupEnum : unsigned int {
        GROUP_LINKTRANSPORT = 0,
        GROUP_CMDLINE = 1,
        GROUP_SETUPTOOLSCOREENGINE = 2,
        GROUP_SETUPTOOLSENGMANAGED = 3,
        GROUP_STOREMETADATASOURCE = 4,
        GROUP_VARINTLIBRARY = 5,
        GROUP_HCITRANSPORT = 6,
        GROUP_COMMSTEST = 7,
        GROUP_PLEXPARSER = 8,
        GROUP_T32API = 9,
        GROUP_APPLICATION = 100,
        GROUP_LINKTRANSPLUGIN = 101,
        GROUP_UTILITY = 102,
        GROUP_XML = 103,
        GROUP_UNKNOWN = 104,
        GROUP_ALL = 120,
        GROUP_LOCAL = 121,
    };

    enum DebugLevels : unsigned int {
        DEBUG_ENTRY_EXIT = 0,
        DEBUG_FULL = 1,
        DEBUG_ENHANCED = 2,
        DEBUG_BASIC = 3,
        DEBUG_ALL = 4,
        DEBUG_PROFILING = 5,
    };

    enum StatusLevels : int {
        STATUS_INFO = 0,
        STATUS_ESSENTIAL = 1,
        STATUS_WARNING = 2,
        STATUS_ERROR = 3,
        STATUS_ALL = 4,
    };

    CMessageHandler();
    explicit CMessageHandler(GroupEnum group);
    ~CMessageHandler() override;
    CMessageHandler(const CMessageHandler&) = delete;
    CMessageHandler& operator=(const CMessageHandler&) = delete;

    void Initialise() {}
    // Deletes error, status, debug and progress objects, in that order.
    void Shutdown();

    std::string GetParagraphString() const { return mParagraph; }
    GroupEnum GetOwnGroup() const { return mGroup; }
    // "<" element name ">" for a named group, else "<unknown>".
    std::string GetDecoratedGroupName() const;

    // Debug output. Nothing without a debug object or with the level off.
    void DebugOutputInHandler(unsigned level, bool indentIn, bool indentOut, const char* function, const char* file,
                              unsigned line, const char* format, ...) __attribute__((format(printf, 8, 9)));
    void DebugOutputBuffer(unsigned level, const char* function, const char* file, unsigned line, const char* title,
                           const unsigned char* data, unsigned length);
    void DebugOutputProfile(unsigned long value);

    // Unconditional user output to standard output and the log file; cut at
    // 1023 characters; silent once the framework has shut down.
    static void OutputMessageHandler(const char* format, ...) __attribute__((format(printf, 1, 2)));

    // Level 4 selects all levels.
    void SetDebugLevel(DebugLevels level, bool enable, GroupEnum group = GROUP_LOCAL);
    void SetStatusLevel(StatusLevels level, bool enable, GroupEnum group = GROUP_LOCAL);
    bool IsDebugLevelEnabled(DebugLevels level, GroupEnum group = GROUP_LOCAL);

    // Each selected group gets a new debug queue on stream that keeps the old
    // level mask; switches debug on. The stream is not owned.
    void NewDebugObject(std::ostream* stream, GroupEnum group = GROUP_LOCAL);
    void SendDebugOutputToTheConsole();
    // Replaces this handler's own status queue (the selector only decides which
    // groups get created).
    void NewStatusObject(std::ostream* stream, GroupEnum group = GROUP_LOCAL);
    // Replace the progress or error object of every handler.
    void NewProgressObject(GroupEnum group = GROUP_LOCAL);
    void NewErrorObject(GroupEnum group = GROUP_LOCAL);
    void SendAllNonDebugOutputToTheConsole();
    void SendAllNonDebugOutputToLogFile();

    void NotifyStatus(StatusLevels level, const std::string& text, std::string prefix = std::string());
    void NotifyProgress(unsigned short percent);

    // Errors of the calling thread; see CErrorMessages.
    bool SetErrorMsg(short code, const std::string& text);
    bool ModifyErrorMsg(short code, const std::string& text, GroupEnum group = GROUP_LOCAL);
    bool LastError(short& code, std::string& text, GroupEnum& group, bool thisThreadOnly);
    bool IsErrorSet(GroupEnum group, bool thisThreadOnly);
    void ClearError();

    CProgressMsg* GetProgressMsg() const;
    CDebugMsg* GetDebugMsg() const;
    CStatusMsg* GetStatusMsg() const;
    CErrorMessages* GetErrorMessages() const;

    // The selector test of the group operations: does selector pick map entry
    // key for a handler whose own group is local?
    static bool Selects(GroupEnum selector, GroupEnum key, GroupEnum local);

private:

    CProgressMsg* mpProgress = nullptr;
    CDebugMsg* mpDebug = nullptr;
    CStatusMsg* mpStatus = nullptr;
    CErrorMessages* mpError = nullptr;
    GroupEnum mGroup;
    std::string mParagraph;
};

struct EfGroupInfo {
    CMessageHandler::GroupEnum group;
    const char* elementName;
};

// The named groups, in table order.
constexpr unsigned EF_GROUP_COUNT = 15;
extern const EfGroupInfo EF_GROUP_INFO[EF_GROUP_COUNT];

// One-character labels of debug levels 0..5; DebugLabel gives "?" beyond them.
extern const char* const DEBUG_LABELS[6];
const char* DebugLabel(unsigned level);

// "INFO", "ESSENTIAL", "WARNING", "ERROR"; anything else reads "INVALID".
extern const char* const statusLevelTexts[4];
const char* StatusLevelText(int level);
