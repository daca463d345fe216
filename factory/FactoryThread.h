// The library's SIGSEGV handler for the workers' deliberate stop, and the
// chaining to whatever handled SIGSEGV before it (see FactoryThread.cpp).
#pragma once

namespace factory {

// Puts the stop handler in place, keeping the disposition it replaces; a
// second call while it is in place keeps the first saved one.
void InstallStopHandler();
// Puts the saved disposition back, unless someone replaced ours meanwhile.
void RestoreStopHandler();
// Whether the process's SIGSEGV disposition is the library's handler.
bool StopHandlerInstalled();

}  // namespace factory
