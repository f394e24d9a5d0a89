// Any bytes as what another party describes: read or refused; what a telephone can use of it reads the same when
// written again, and in the metadata no text of another party is markup.

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "sip/Metadata.h"
#include "sip/Sdp.h"

using namespace deskphone;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(data, data + size);
    std::vector<Stream> streams;
    std::vector<Stream> again;
    if (readDescription(text, streams)) {
        if (!streams.empty() && !readDescription(writeDescription(1, 1, "127.0.0.1", streams), again)) {
            std::abort();
        }
        for (std::size_t at = 0; at < streams.size(); ++at) {
            if (streams[at].usable() != again.at(at).usable() ||
                (streams[at].usable() && (streams[at].codecs != again[at].codecs ||
                                          streams[at].address.sin_port != again[at].address.sin_port ||
                                          streams[at].direction != again[at].direction))) {
                std::abort();
            }
        }
    }
    const auto tags = [](const std::string& party) {
        const std::string metadata = writeMetadata({party, {party, party}, 0, 0});
        return std::count(metadata.begin(), metadata.end(), '<');
    };
    if (tags(text) != tags("sip:100@office")) {
        std::abort();
    }
    return 0;
}
