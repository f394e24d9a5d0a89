#pragma once

#include <string>

class Executable;

class SvcRTEContext {
public:
    virtual bool isRunning() { return true; }
    virtual Executable* getService(const std::string& name) = 0;
    virtual ~SvcRTEContext() = default;
};

class Context : public SvcRTEContext {
    std::string m_release;
};
