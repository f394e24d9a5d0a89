#include "InvokerResponse.h"

InvokerResponse::~InvokerResponse() = default;

void InvokerResponse::setResponseText(const char* text, int length)
{
    m_text.assign(text, length < 0 ? 0 : static_cast<std::size_t>(length));
}

void InvokerResponse::finish()
{
    m_finished = true;
}
