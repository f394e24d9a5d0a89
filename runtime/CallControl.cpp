#include "CallControl.h"

#include <atomic>

#include "CSfi.h"

namespace {

std::atomic<CSfi*> callControlInstance{nullptr};

}  // namespace

CSfi* CSfi::GetInstance()
{
    return callControlInstance;
}

namespace runtime {

void setCallControl(CSfi* callControl)
{
    callControlInstance = callControl;
}

}  // namespace runtime
