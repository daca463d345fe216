#include "commstest/vldata.h"

namespace CommstestVldata {

const std::string GENERIC_DESERIALISATION_ERROR = "Could not parse value";

}  // namespace CommstestVldata
