#include "enginefw/themsghnd.h"

// Debug option processing: reads the debug statement and log file settings and
// switches groups and levels on. The flag is set before anything is read, so
// that the settings reader's own tracing does not start processing again.
//
// Until the option reader is part of the framework this only marks processing
// as done: debug output is then switched on by the host through SetDebugLevel
// and NewDebugObject.
void CTheMsgHnd::ProcessDebugOptions() { mDebugInitialised.store(true); }
