#include "platform/codec/TiffHandle.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>

namespace velk::codec::tiff {

namespace {

constexpr std::size_t kAllocationAllowance = std::size_t {256} << 20;
constexpr std::uint64_t kPaddingAllowance = 1 << 20;
constexpr std::uint64_t kPaddingFactor = 4;

struct FreeOptions {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

} // namespace

Result<std::unique_ptr<Handle>> Handle::openForReading(InputFile const& file)
{
    auto handle = std::make_unique<Handle>(Private {});
    handle->m_file = &file;
    handle->m_size = file.size();
    // Whatever a file holds coded fits in its own size; the allowance is for tables and decoded rows. No
    // memory mapping: a file that shrinks while it is mapped would end the program.
    TRY(handle->open("rmc", file.size() + kAllocationAllowance));
    // Complaints about tags that it does not understand do not explain what fails later.
    handle->takeError();
    return handle;
}

Result<std::unique_ptr<Handle>> Handle::openSink(bool isBig)
{
    auto handle = std::make_unique<Handle>(Private {});
    TRY(handle->open(isBig ? "wl8" : "wl", std::numeric_limits<std::int64_t>::max()));
    handle->takeWritten();
    return handle;
}

Result<void> Handle::open(char const* mode, std::size_t largestAllocation)
{
    std::unique_ptr<TIFFOpenOptions, FreeOptions> const options(TIFFOpenOptionsAlloc());
    if (!options)
        return fail("out of memory");
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), onError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), onWarning, this);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), static_cast<tmsize_t>(largestAllocation));
    m_tiff =
        TIFFClientOpenExt("", mode, this, read, write, seek, close, size, nullptr, nullptr, options.get());
    if (!m_tiff)
        return fail("damaged TIFF file ({})", takeError());
    return {};
}

Handle::~Handle()
{
    // Not TIFFClose, which would write a directory to a sink.
    if (m_tiff)
        TIFFCleanup(m_tiff);
}

std::string Handle::takeError()
{
    auto error = std::exchange(m_error, {});
    return error.empty() ? "damaged data" : error;
}

// A strip that is cut off by the end of the file is worth decoding as far as it goes, so it is continued with
// zeros. Their number is bounded by the file's size, so that no header can ask for much memory.
bool Handle::isPadding(std::uint64_t count)
{
    m_hasReadPastEnd = true;
    bool const continuesData = m_position < m_size || (m_padding > 0 && m_position == m_paddingEnd);
    m_padding += count;
    m_paddingEnd = std::max(m_position, m_size) + count;
    return continuesData && m_padding <= kPaddingAllowance + kPaddingFactor * m_size;
}

tmsize_t Handle::read(thandle_t self, void* to, tmsize_t count)
{
    auto& handle = *static_cast<Handle*>(self);
    if (!handle.m_file || count < 0)
        return -1;
    auto const target = std::span(static_cast<std::uint8_t*>(to), static_cast<std::size_t>(count));
    auto const result = handle.m_file->readAt(handle.m_position, target);
    if (!result)
        return -1;
    auto got = *result;
    if (got < target.size() && handle.isPadding(target.size() - got)) {
        std::memset(target.data() + got, 0, target.size() - got);
        got = target.size();
    }
    handle.m_position += got;
    return static_cast<tmsize_t>(got);
}

tmsize_t Handle::write(thandle_t self, void* from, tmsize_t count)
{
    auto& handle = *static_cast<Handle*>(self);
    append(
        handle.m_written, ByteSpan(static_cast<std::uint8_t const*>(from), static_cast<std::size_t>(count)));
    handle.m_position += static_cast<std::uint64_t>(count);
    handle.m_size = std::max(handle.m_size, handle.m_position);
    return count;
}

toff_t Handle::seek(thandle_t self, toff_t offset, int origin)
{
    auto& handle = *static_cast<Handle*>(self);
    auto const base = origin == SEEK_CUR ? handle.m_position : origin == SEEK_END ? handle.m_size : 0;
    handle.m_position = base + offset;
    handle.m_paddingEnd = 0;
    return handle.m_position;
}

toff_t Handle::size(thandle_t self)
{
    return static_cast<Handle*>(self)->m_size;
}

int Handle::close(thandle_t)
{
    return 0;
}

int Handle::onError(TIFF*, void* self, char const* module, char const* format, va_list values)
{
    auto& handle = *static_cast<Handle*>(self);
    if (!handle.m_error.empty())
        return 1;
    std::array<char, 512> text {};
    std::vsnprintf(text.data(), text.size(), format, values);
    if (module && *module)
        handle.m_error = std::string(module) + ": ";
    handle.m_error += text.data();
    return 1;
}

int Handle::onWarning(TIFF*, void*, char const*, char const*, va_list)
{
    return 1;
}

} // namespace velk::codec::tiff
