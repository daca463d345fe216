// Internal view of the service's object graph, for the library's own tests
// and tools. Not exported.
#pragma once

class CCommandHandler;
class CWlanDriver;
class CWlanDutLib;

// The open service's command handler, or null while the service is closed.
CCommandHandler* GetServiceCommandHandler();

// The open service's WLAN driver, or null while the service is closed.
CWlanDriver* GetServiceWlanDriver();

// The open service's WLAN DUT, or null while the service is closed.
CWlanDutLib* GetServiceWlanDut();

class CBtDutLib;

// The open service's Bluetooth DUT, or null while the service is closed.
CBtDutLib* GetServiceBtDut();
