#include "pdu/values/sm_key_state.h"

SMKeyState::SMKeyState(const unsigned short* er, const unsigned short* ir) {
    copy_root(mIr, ir);
    copy_root(mEr, er);
}

void SMKeyState::copy_root(unsigned short* root, const unsigned short* words) {
    for (std::size_t i = 0; i < kWords; ++i) root[i] = words != nullptr ? words[i] : 0;
}
