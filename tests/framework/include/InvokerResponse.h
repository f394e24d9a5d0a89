#pragma once

#include <string>

class InvokerResponse {
public:
    virtual void finish();
    virtual void setResponseText(const char* text, int length);
    virtual ~InvokerResponse();

protected:
    int m_request = 0;
    std::string m_text;
};
