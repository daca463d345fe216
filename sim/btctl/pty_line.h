// The serial line of the simulated controller: a pseudo-terminal whose
// slave the host opens through a symbolic link (root/dev/tavo_h4_0), and
// whose master the controller reads and writes.
//
// The slave is put in raw mode once, and one slave descriptor stays open
// here for the life of the line: without it, the host closing its last
// descriptor would hang the line up, and a host that closes and reopens
// the device would find the master reading as hung up.
#pragma once

#include <cstddef>
#include <string>

#include "sim/unique_fd.h"

namespace tavo::sim::btctl {

class PtyLine {
public:
    // Opens the pseudo-terminal and makes `linkPath` a symbolic link to its
    // slave, replacing whatever was there. Throws std::runtime_error.
    explicit PtyLine(const std::string& linkPath);
    // Hangs up and removes the link.
    ~PtyLine();
    PtyLine(const PtyLine&) = delete;
    PtyLine& operator=(const PtyLine&) = delete;

    // Non-blocking; -1 once hung up.
    int Master() const { return master_.Get(); }
    bool Up() const { return master_.Valid(); }
    const std::string& SlavePath() const { return slavePath_; }
    const std::string& LinkPath() const { return linkPath_; }

    // Bytes sent to the host that it has not read yet; 0 once hung up.
    std::size_t PendingForHost() const;

    // Closes the master and the slave kept open, so that the host's reads
    // fail, and removes the link: the slave's name goes back to the system
    // and may soon name somebody else's terminal.
    void HangUp();

private:
    std::string linkPath_;
    std::string slavePath_;
    UniqueFd master_;
    UniqueFd slave_;
    bool linked_ = false;
};

}  // namespace tavo::sim::btctl
