// Where there is no library for SIP.

#include <stdexcept>

#include "sip/UserAgent.h"

namespace deskphone {

std::unique_ptr<UserAgent> UserAgent::start(const NetworkSettings& /*settings*/, Happenings& /*happenings*/)
{
    throw std::runtime_error("--sip: this deskphone was built without it; the build option MRS_SIP takes Sofia-SIP");
}

}  // namespace deskphone
