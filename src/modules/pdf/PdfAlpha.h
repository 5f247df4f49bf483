#pragma once

#include "base/AtomicFile.h"
#include "platform/graphics/RowSource.h"

namespace velk::codec::pdf {

/// Takes rows with straight alpha apart: delivers the colours, and puts alpha aside in a temporary file,
/// since a PDF holds one after the other. The rows must live as long.
class AlphaSplitter final : public graphics::RowSource {
public:
    /// The temporary file lies beside `output`, where there is room for large files.
    static Result<std::unique_ptr<AlphaSplitter>> create(graphics::RowSource& rows, AtomicFile const& output);
    AlphaSplitter(graphics::RowSource& rows, AtomicFile alpha);

    /// The alpha of all rows, as grey of the same depth; once all were read.
    Result<graphics::RowSourcePointer> alpha();

private:
    Result<void> readRows(graphics::RowView rows) override;

    graphics::RowSource& m_rows;
    AtomicFile m_alpha;
    Bytes m_row, m_alphaRow;
};

} // namespace velk::codec::pdf
