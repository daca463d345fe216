// The security manager's two key roots, IR and ER, 16 bytes each as eight
// 16-bit words. The constructor takes ER first and IR second; the object
// keeps IR first. A null root is kept as zeros.
#pragma once

#include <cstddef>

class SMKeyState {
public:
    static constexpr std::size_t kWords = 8;

    SMKeyState() = default;
    SMKeyState(const unsigned short* er, const unsigned short* ir);

    const unsigned short* get_ir() const { return mIr; }
    const unsigned short* get_er() const { return mEr; }
    void set_ir(const unsigned short* ir) { copy_root(mIr, ir); }
    void set_er(const unsigned short* er) { copy_root(mEr, er); }

private:
    static void copy_root(unsigned short* root, const unsigned short* words);

    unsigned short mIr[kWords] = {};
    unsigned short mEr[kWords] = {};
};
