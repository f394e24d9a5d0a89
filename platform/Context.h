#pragma once

#include <string>

class Executable;

/// The service runtime's registry of services, reached from any thread.
class SvcRTEContext {
public:
    virtual ~SvcRTEContext() = default;

    /// The service registered under `name`, owned by the framework, or null.
    virtual Executable* getService(const std::string& name) = 0;
};

/// What the framework hands to a plug-in at its initialisation. It outlives the plug-in.
class Context : public SvcRTEContext {};
