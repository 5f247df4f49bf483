#include "modules/pdf/PdfFile.h"

namespace velk::codec::pdf {

Result<void> PdfFile::start()
{
    // Bytes beyond ASCII tell that the file is not text (ISO 32000-1, 7.5.2).
    return m_output.write(asBytes("%PDF-1.7\n%\xE2\xE3\xCF\xD3\n"));
}

int PdfFile::reserve()
{
    m_offsets.push_back(0);
    return static_cast<int>(m_offsets.size());
}

std::string PdfFile::reference(int object)
{
    return fmt::format("{} 0 R", object);
}

Result<void> PdfFile::begin(int object)
{
    m_offsets[static_cast<std::size_t>(object - 1)] = m_output.position();
    return m_output.write(asBytes(fmt::format("{} 0 obj\n", object)));
}

Result<void> PdfFile::write(int object, std::string_view value)
{
    TRY(begin(object));
    TRY(m_output.write(asBytes(value)));
    return m_output.write(asBytes("\nendobj\n"));
}

Result<void> PdfFile::writeStream(
    int object, std::string_view entries, std::function<Result<void>()> const& body)
{
    auto const length = reserve();
    TRY(begin(object));
    TRY(m_output.write(asBytes(fmt::format("<< {} /Length {} >>\nstream\n", entries, reference(length)))));
    auto const start = m_output.position();
    TRY(body());
    auto const size = m_output.position() - start;
    TRY(m_output.write(asBytes("\nendstream\nendobj\n")));
    return write(length, fmt::format("{}", size));
}

Result<void> PdfFile::finish(int catalog, int information)
{
    constexpr std::uint64_t kLargestOffset = 9'999'999'999;
    auto const table = m_output.position();
    if (table > kLargestOffset)
        return fail("the image is too large for a PDF file (10 GB)");
    auto const count = m_offsets.size() + 1;
    auto text = fmt::format("xref\n0 {}\n0000000000 65535 f \n", count);
    for (auto const offset : m_offsets)
        text += fmt::format("{:010} 00000 n \n", offset);
    text += fmt::format("trailer\n<< /Size {} /Root {} /Info {} >>\nstartxref\n{}\n%%EOF\n", count,
        reference(catalog), reference(information), table);
    return m_output.write(asBytes(text));
}

} // namespace velk::codec::pdf
