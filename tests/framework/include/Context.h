#pragma once

#include <string>

class Executable;

class SvcRTEContext {
public:
    virtual bool isRunning() { return true; }
    virtual Executable* getService(const std::string& name) = 0;
    virtual ~SvcRTEContext() = default;
};

class Runtime {
public:
    virtual ~Runtime() = default;

protected:
    std::string m_release;
};

class Context : public Runtime, public SvcRTEContext {};
