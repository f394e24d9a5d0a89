#pragma once

#include <string>

/// The answer to one invoker message, owned by the framework. Not to be used after finish().
class InvokerResponse {
public:
    virtual ~InvokerResponse();

    /// Takes `length` bytes of `text`; no terminator is needed.
    virtual void setResponseText(const char* text, int length);
    /// Hands the answer back to the framework.
    virtual void finish();

protected:
    std::string m_text;
    bool m_finished = false;
};
