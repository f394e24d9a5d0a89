#pragma once

#include "Threadable.h"

class Threader {
public:
    bool spawn(ThreadId& id, Threadable* body, const char* name, ThreadPriority priority, int);
    void waitForThreadCompletion(ThreadId id);

private:
    std::string m_lastName;
};
