#include "modules/exr/ExrStreams.h"

#include <Iex.h>

namespace velk::codec::exr {

namespace {

void throwOnFailure(Result<void> const& result)
{
    if (!result)
        throw Iex::IoExc(result.error().message);
}

// The library names its stream, and the caller names the file.
std::string reason(std::string message)
{
    constexpr std::string_view kNamed = "\"\". ";
    if (auto const at = message.rfind(kNamed); at != std::string::npos)
        message.erase(0, at + kNamed.size());
    while (message.ends_with('.') || message.ends_with('\n'))
        message.pop_back();
    return message;
}

} // namespace

Result<void> guarded(std::function<void()> const& action)
{
    try {
        action();
        return {};
    } catch (std::bad_alloc const&) {
        return fail("not enough memory");
    } catch (std::exception const& exception) {
        return fail("{}", reason(exception.what()));
    }
}

InputStream::InputStream(InputFile const& file)
    : IStream("")
    , m_file(file)
    , m_reader(file)
{
}

bool InputStream::read(char* to, int count)
{
    std::span const bytes(reinterpret_cast<std::uint8_t*>(to), static_cast<std::size_t>(count));
    if (m_reader.read(bytes) != bytes.size())
        throw Iex::InputExc("unexpected end of file");
    return m_reader.position() < m_file.size();
}

OutputStream::OutputStream(AtomicFile& output)
    : OStream("")
    , m_output(output)
    , m_position(output.position())
{
}

void OutputStream::write(char const* from, int count)
{
    auto const bytes = ByteSpan(reinterpret_cast<std::uint8_t const*>(from), static_cast<std::size_t>(count));
    throwOnFailure(
        m_position == m_output.position() ? m_output.write(bytes) : m_output.writeAt(m_position, bytes));
    m_position += bytes.size();
}

} // namespace velk::codec::exr
