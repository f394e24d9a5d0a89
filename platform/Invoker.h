#pragma once

class Executable;
class FrameworkContext;
class InvokerResponse;

/// Receives the framework's text messages to one service, on the framework's calling thread.
class Invoker {
public:
    virtual ~Invoker() = default;

    /// Handles one message and answers it through `response` exactly once. `message` is zero-terminated.
    virtual void handleMessage(Executable* executable, const char* message, int length, InvokerResponse* response) = 0;
    virtual void initInvoker(FrameworkContext* /*context*/) {}
};
