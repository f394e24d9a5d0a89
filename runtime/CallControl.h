#pragma once

class CSfi;

namespace runtime {

/// Sets what CSfi::GetInstance() answers, null for none. The instance stays the caller's.
void setCallControl(CSfi* callControl);

}  // namespace runtime
