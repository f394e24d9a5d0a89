#pragma once

/// The framework's own context, handed to invokers.
class FrameworkContext {
public:
    virtual ~FrameworkContext() = default;
};
