#include "platform/js/EngineIdentity.h"

#include <elf.h>
#include <js/Initialization.h>
#include <link.h>

#include <cstdint>
#include <cstring>
#include <span>

namespace velk::js {

namespace {

using NoteBytes = std::span<char const>;

std::size_t padded(std::size_t size)
{
    return (size + 3) & ~std::size_t {3};
}

// The content of the first build-id note:
//
//     | name size | content size | type | "GNU\0" | content ... |
NoteBytes buildIdOf(NoteBytes notes)
{
    while (notes.size() >= sizeof(ElfW(Nhdr))) {
        ElfW(Nhdr) note;
        std::memcpy(&note, notes.data(), sizeof note);
        notes = notes.subspan(sizeof note);
        auto const contentStart = padded(note.n_namesz);
        if (contentStart + padded(note.n_descsz) > notes.size())
            return {};
        if (note.n_type == NT_GNU_BUILD_ID)
            return notes.subspan(contentStart, note.n_descsz);
        notes = notes.subspan(contentStart + padded(note.n_descsz));
    }
    return {};
}

struct LibrarySearch {
    std::uintptr_t address; ///< inside the library
    NoteBytes buildId;
};

int examineLibrary(dl_phdr_info* library, std::size_t, void* context)
{
    auto& search = *static_cast<LibrarySearch*>(context);
    bool isWanted = false;
    NoteBytes buildId;
    for (auto const& segment : std::span(library->dlpi_phdr, library->dlpi_phnum)) {
        auto const start = library->dlpi_addr + segment.p_vaddr;
        if (segment.p_type == PT_LOAD && search.address - start < segment.p_memsz)
            isWanted = true;
        if (segment.p_type == PT_NOTE && buildId.empty())
            buildId = buildIdOf({reinterpret_cast<char const*>(start), segment.p_memsz});
    }
    if (isWanted)
        search.buildId = buildId;
    return isWanted ? 1 : 0;
}

} // namespace

bool appendEngineIdentity(JS::BuildIdCharVector* identity)
{
    LibrarySearch search {reinterpret_cast<std::uintptr_t>(&JS_ShutDown), {}};
    ::dl_iterate_phdr(examineLibrary, &search);
    return !search.buildId.empty() && identity->append(search.buildId.data(), search.buildId.size());
}

} // namespace velk::js
