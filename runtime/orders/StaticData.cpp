#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "Scheduler.h"

namespace runtime::orders {

namespace {

struct Library {
    char* address;  // one that it holds
    dl_phdr_info info;

    /// Where a segment begins. Unsigned, because a difference below it is no place in it either.
    std::size_t offset(const ElfW(Phdr) & segment) const
    {
        return reinterpret_cast<std::uintptr_t>(address) - info.dlpi_addr - segment.p_vaddr;
    }
    char* begin(const ElfW(Phdr) & segment) const { return address - offset(segment); }
};

int find(dl_phdr_info* info, std::size_t /*size*/, void* wanted)
{
    Library& library = *static_cast<Library*>(wanted);
    library.info = *info;
    return std::any_of(info->dlpi_phdr, info->dlpi_phdr + info->dlpi_phnum, [&library](const auto& segment) {
        return segment.p_type == PT_LOAD && library.offset(segment) < segment.p_memsz;
    });
}

}  // namespace

StaticData::StaticData(void* address)
{
    Library library{static_cast<char*>(address), {}};
    if (::dl_iterate_phdr(find, &library) == 0) {
        throw std::runtime_error("no library holds this address");
    }
    const ElfW(Phdr)* const segments = library.info.dlpi_phdr;
    const ElfW(Phdr)* const end = segments + library.info.dlpi_phnum;
    // What the loader protects once it has relocated it lies at the beginning of a writable segment.
    const auto* const relocated = std::find_if(segments, end, [](const auto& s) { return s.p_type == PT_GNU_RELRO; });
    for (const auto* segment = segments; segment != end; ++segment) {
        if (segment->p_type != PT_LOAD) {
            continue;
        }
        char* begin = library.begin(*segment);
        m_end = begin + segment->p_memsz;
        if (m_begin == nullptr) {
            m_begin = begin;
        }
        if ((segment->p_flags & PF_W) != 0) {
            if (relocated != end && relocated->p_vaddr == segment->p_vaddr) {
                begin += relocated->p_memsz;
            }
            m_writable.push_back({begin, std::vector<char>(begin, m_end)});
        }
    }
}

void StaticData::restore() const
{
    Scheduler::own().deleteBodies(m_begin, m_end);
    for (const Piece& piece : m_writable) {
        std::memcpy(piece.begin, piece.bytes.data(), piece.bytes.size());
    }
}

}  // namespace runtime::orders
