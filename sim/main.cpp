// tavo-sim: the chip simulator in its own name, and the tool stand-ins
// (btcli, iw, ps) under theirs. The basename of argv[0] decides.
#include <string>
#include <vector>
#include <iostream>

#include "sim/serve.h"
#include "sim/stand_ins.h"

int main(int argc, char** argv) {
    std::string name = argc > 0 && argv[0] != nullptr ? argv[0] : "tavo-sim";
    const size_t slash = name.rfind('/');
    if (slash != std::string::npos) name = name.substr(slash + 1);
    const std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    if (tavo::sim::IsStandIn(name)) return tavo::sim::RunStandIn(name, args);
    return tavo::sim::ServeMain(args, std::cout, std::cerr);
}
