// Base class for objects that own a thread or a resource and must never be copied.
#pragma once

class NoCopy {
public:
    NoCopy(const NoCopy&) = delete;
    NoCopy& operator=(const NoCopy&) = delete;

protected:
    NoCopy() = default;
    ~NoCopy() = default;
};
