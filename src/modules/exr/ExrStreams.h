#pragma once

#include "base/AtomicFile.h"
#include "base/Files.h"

#include <ImfIO.h>

#include <functional>

namespace velk::codec::exr {

/// Runs `action`, which calls the library, and turns what it throws into an error.
Result<void> guarded(std::function<void()> const& action);

/// The library's view of a file that is read.
class InputStream final : public Imf::IStream {
public:
    explicit InputStream(InputFile const& file);

    bool read(char* to, int count) override;
    std::uint64_t tellg() override { return m_reader.position(); }
    void seekg(std::uint64_t position) override { m_reader.seek(position); }

private:
    InputFile const& m_file;
    BufferedReader m_reader;
};

/// The library's view of a file that is written: at the end it goes back to fill in its table of offsets.
class OutputStream final : public Imf::OStream {
public:
    explicit OutputStream(AtomicFile& output);

    void write(char const* from, int count) override;
    std::uint64_t tellp() override { return m_position; }
    void seekp(std::uint64_t position) override { m_position = position; }

private:
    AtomicFile& m_output;
    std::uint64_t m_position = 0;
};

} // namespace velk::codec::exr
