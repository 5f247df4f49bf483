#include "platform/codec/JpegTurn.h"

#include "platform/codec/JpegBlocks.h"
#include "platform/codec/JpegMultiPicture.h"
#include "platform/codec/JpegRewrite.h"
#include "platform/codec/JpegStreams.h"

#include <jerror.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace velk::codec::jpeg {

using namespace graphics;

namespace {

// libjpeg's coefficient arrays are opaque handles that it only uses through its memory manager, whose
// functions an application may replace. So the decompressor writes a few rows at a time into a `Component`,
// which packs them away while the next are read, and the compressor is handed turned rows from there; the
// whole image never lies in memory unpacked.
class Component {
public:
    jvirt_barray_ptr handle() { return reinterpret_cast<jvirt_barray_ptr>(this); }
    static Component& of(jvirt_barray_ptr handle) { return *reinterpret_cast<Component*>(handle); }

    Component() = default;
    ~Component()
    {
        if (m_tasks)
            m_tasks->finish(m_packing);
    }
    Component(Component const&) = delete;
    Component& operator=(Component const&) = delete;

    void create(TurnSteps steps, jpeg_component_info const& info, unsigned rowsAtOnce, BackgroundTasks& tasks)
    {
        m_tasks = &tasks;
        m_blocks = std::make_unique<TurnedBlocks>(
            steps, info.width_in_blocks, info.height_in_blocks, rowsAtOnce, tasks);
    }
    TurnedBlocks& blocks() { return *m_blocks; }

    bool hasSourceRows() const { return m_rowsAtOnce > 0; }
    void allocateSourceRows(unsigned width, unsigned rows)
    {
        m_rowsAtOnce = rows;
        for (auto* const some : {&m_filled, &m_packed}) {
            some->coefficients.resize(std::size_t {width} * rows * DCTSIZE2);
            for (unsigned row = 0; row < rows; ++row)
                some->pointers.push_back(
                    reinterpret_cast<JBLOCKROW>(&some->coefficients[std::size_t {row} * width * DCTSIZE2]));
        }
    }

    // Cleared rows for the decompressor to fill, which packs away those before. Null when the order is not
    // from top to bottom.
    JBLOCKARRAY sourceRows(unsigned first)
    {
        if (first != m_nextRow)
            return nullptr;
        if (first > 0)
            startPacking();
        m_nextRow += m_rowsAtOnce;
        return m_filled.pointers.data();
    }

    // False when memory ran out.
    bool packLastRows()
    {
        startPacking();
        m_tasks->finish(m_packing);
        return !m_isOutOfMemory;
    }

private:
    struct Rows {
        std::vector<JCOEF> coefficients;
        std::vector<JBLOCKROW> pointers;
    };

    void startPacking()
    {
        m_tasks->finish(m_packing);
        std::swap(m_filled, m_packed);
        m_packing = m_tasks->add([this] { packRows(); });
    }

    void packRows() noexcept
    try {
        for (auto* const row : m_packed.pointers)
            m_blocks->append(row);
        std::ranges::fill(m_packed.coefficients, JCOEF {0});
    } catch (std::bad_alloc const&) {
        m_isOutOfMemory = true;
    }

    std::unique_ptr<TurnedBlocks> m_blocks;
    unsigned m_rowsAtOnce = 0;
    unsigned m_nextRow = 0;
    Rows m_filled; ///< by the decompressor
    Rows m_packed; ///< in the background
    bool m_isOutOfMemory = false; ///< known when the packing is done
    BackgroundTasks* m_tasks = nullptr;
    BackgroundTasks::Number m_packing = 0;
};

// Making Huffman codes for an image takes longer than everything else; see the encoder.
constexpr std::int64_t kOptimizedPixels = 8'000'000;

using Components = std::array<Component, MAX_COMPS_IN_SCAN>;

// For the decompressor: components ask for their array in order, when all about them is known.
jvirt_barray_ptr requestRows(j_common_ptr common, int, boolean, JDIMENSION width, JDIMENSION, JDIMENSION rows)
{
    auto& components = *static_cast<Components*>(common->client_data);
    auto const unused = std::ranges::find(components, false, &Component::hasSourceRows);
    if (unused == components.end())
        ERREXIT(common, JERR_BAD_VIRTUAL_ACCESS);
    unused->allocateSourceRows(width, rows);
    return unused->handle();
}

// For the decompressor: it fills rows from top to bottom, once.
JBLOCKARRAY nextSourceRows(
    j_common_ptr common, jvirt_barray_ptr handle, JDIMENSION first, JDIMENSION, boolean)
{
    auto* const rows = Component::of(handle).sourceRows(first);
    if (!rows)
        ERREXIT(common, JERR_BAD_VIRTUAL_ACCESS);
    return rows;
}

// For the compressor.
JBLOCKARRAY turnedRows(j_common_ptr, jvirt_barray_ptr handle, JDIMENSION first, JDIMENSION, boolean)
{
    return Component::of(handle).blocks().rows(first);
}

void transpose(JQUANT_TBL& table)
{
    for (std::size_t v = 0; v < DCTSIZE; ++v) {
        for (std::size_t u = 0; u < v; ++u)
            std::swap(table.quantval[v * DCTSIZE + u], table.quantval[u * DCTSIZE + v]);
    }
}

class Turner {
public:
    Turner(RewriteJob const& job, JpegSource const& source, AtomicFile& output)
        : m_job(job)
        , m_source(source)
        , m_steps(stepsOf(job.turn))
        , m_output(output)
    {
    }

    Result<void> run()
    {
        m_decompressor = TRY(Decompressor::create(m_source.file()));
        m_compressor = TRY(Compressor::create([this](ByteSpan bytes) { return m_output.write(bytes); }));
        TRY(m_decompressor->readHeader());
        makeComponents();
        if (jpeg_has_multiple_scans(&from()))
            TRY(readWholeCoefficients());
        else
            TRY(readPackedCoefficients());
        m_source.reportDamage(m_decompressor->errors.damage);
        TRY(write());
        return copyTrailingData();
    }

private:
    jpeg_decompress_struct& from() { return m_decompressor->info; }
    jpeg_compress_struct& to() { return m_compressor->info; }

    void makeComponents()
    {
        for (int i = 0; i < from().num_components; ++i) {
            auto const& info = from().comp_info[i];
            auto const sampling = m_steps.swapsAxes ? info.h_samp_factor : info.v_samp_factor;
            auto const rowsAtOnce = from().num_components == 1 ? 1 : sampling;
            m_components[static_cast<std::size_t>(i)].create(
                m_steps, info, static_cast<unsigned>(rowsAtOnce), m_tasks);
        }
    }

    // A single scan delivers every block once and in order.
    Result<void> readPackedCoefficients()
    {
        from().client_data = &m_components;
        from().mem->request_virt_barray = requestRows;
        from().mem->access_virt_barray = nextSourceRows;
        TRY(attempt(m_decompressor->errors, [this] { jpeg_read_coefficients(&from()); }));
        for (int i = 0; i < from().num_components; ++i) {
            if (!m_components[static_cast<std::size_t>(i)].packLastRows())
                return fail("out of memory");
        }
        return {};
    }

    // Several scans need all coefficients at hand.
    Result<void> readWholeCoefficients()
    {
        TRY(m_decompressor->checkCoefficientMemory());
        jvirt_barray_ptr* arrays = nullptr;
        TRY(attempt(m_decompressor->errors, [&] { arrays = jpeg_read_coefficients(&from()); }));
        for (int i = 0; i < from().num_components; ++i)
            TRY(packArray(arrays[i], i));
        return {};
    }

    Result<void> packArray(jvirt_barray_ptr array, int index)
    {
        auto* const common = reinterpret_cast<j_common_ptr>(&from());
        auto& blocks = m_components[static_cast<std::size_t>(index)].blocks();
        for (JDIMENSION row = 0; row < from().comp_info[index].height_in_blocks; ++row) {
            JBLOCKARRAY rows = nullptr;
            TRY(attempt(m_decompressor->errors,
                [&] { rows = from().mem->access_virt_barray(common, array, row, 1, FALSE); }));
            blocks.append(*rows);
        }
        return {};
    }

    Result<void> write()
    {
        std::array<jvirt_barray_ptr, MAX_COMPS_IN_SCAN> handles;
        std::ranges::transform(m_components, handles.begin(), &Component::handle);
        TRY(attempt(m_compressor->errors, [&] {
            configure();
            jpeg_write_coefficients(&to(), handles.data());
        }));
        // The decompressor's memory, much of it for a progressive image, is no longer needed.
        m_imageEnd = m_decompressor->input.position();
        m_decompressor.reset();
        if (!m_compressor->output.drain())
            return fail("{}", m_compressor->output.failure);
        auto const head = TRY(rewrittenHead(m_job, m_source, isKept));
        TRY(head.write(m_output));
        return attempt(m_compressor->errors, [&] { jpeg_finish_compress(&to()); });
    }

    // The frame is written anew; what shows the picture as it lay, or points at such, goes.
    static bool isKept(SegmentKind kind)
    {
        return kind != SegmentKind::Coding && kind != SegmentKind::Jfxx && kind != SegmentKind::Mpf;
    }

    void configure()
    {
        jpeg_copy_critical_parameters(&from(), &to());
        to().write_JFIF_header = FALSE;
        to().write_Adobe_marker = FALSE;
        to().arith_code = from().arith_code;
        to().mem->access_virt_barray = turnedRows;
        if (to().num_components == 1)
            to().comp_info[0].h_samp_factor = to().comp_info[0].v_samp_factor = 1;
        if (m_steps.swapsAxes)
            swapAxes();
        adoptRestarts();
        to().optimize_coding = hasOwnCodes() && m_source.header().frame.size.pixelCount() <= kOptimizedPixels;
        if (from().progressive_mode)
            jpeg_simple_progression(&to());
    }

    void swapAxes()
    {
        std::swap(to().image_width, to().image_height);
        for (int i = 0; i < to().num_components; ++i)
            std::swap(to().comp_info[i].h_samp_factor, to().comp_info[i].v_samp_factor);
        for (auto* const table : to().quant_tbl_ptrs) {
            if (table)
                transpose(*table);
        }
    }

    // Whether the source was coded with other Huffman tables than the usual ones, which the compressor has
    // got by default.
    bool hasOwnCodes()
    {
        for (std::size_t i = 0; i < 2; ++i) {
            if (differ(from().dc_huff_tbl_ptrs[i], to().dc_huff_tbl_ptrs[i])
                || differ(from().ac_huff_tbl_ptrs[i], to().ac_huff_tbl_ptrs[i]))
                return true;
        }
        return false;
    }

    static bool differ(JHUFF_TBL const* a, JHUFF_TBL const* b)
    {
        return a && b && !std::ranges::equal(a->bits, b->bits);
    }

    // Restarts after whole rows of units stay so.
    void adoptRestarts()
    {
        auto const& frame = m_source.header().frame;
        auto const unitWidth = frame.unitSize().width;
        auto const unitsPerRow = static_cast<unsigned>((frame.size.width + unitWidth - 1) / unitWidth);
        if (from().restart_interval % unitsPerRow == 0)
            to().restart_in_rows = static_cast<int>(from().restart_interval / unitsPerRow);
        else
            to().restart_interval = from().restart_interval;
    }

    Result<void> copyTrailingData()
    {
        auto const& file = m_source.file();
        auto position = m_imageEnd;
        for (auto const& picture : TRY(furtherPicturesInOrder())) {
            if (picture.offset < position || picture.offset > file.size())
                continue;
            TRY(m_output.copyFrom(file, position, picture.offset - position));
            position = std::min(picture.offset + picture.size, file.size());
        }
        return position < file.size() ? m_output.copyFrom(file, position, file.size() - position)
                                      : Result<void>();
    }

    Result<std::vector<PictureRange>> furtherPicturesInOrder() const
    {
        std::vector<PictureRange> pictures;
        auto const& segments = m_source.header().segments;
        auto const index = std::ranges::find(segments, SegmentKind::Mpf, &Segment::kind);
        if (index != segments.end())
            pictures = furtherPictures(TRY(readData(m_source.file(), *index)), index->dataOffset);
        std::ranges::sort(pictures, {}, &PictureRange::offset);
        return pictures;
    }

    RewriteJob const& m_job;
    JpegSource const& m_source;
    TurnSteps m_steps;
    AtomicFile& m_output;
    BackgroundTasks m_tasks;
    Components m_components;
    std::unique_ptr<Decompressor> m_decompressor;
    std::unique_ptr<Compressor> m_compressor;
    std::uint64_t m_imageEnd = 0; ///< in the source file, behind its end-of-image marker
};

} // namespace

bool canTurn(Frame const& frame, Turn turn)
{
    auto const steps = stepsOf(turn);
    auto const unit = frame.unitSize();
    int blocks = 0;
    for (auto const& component : frame.components)
        blocks += component.horizontalSampling * component.verticalSampling;
    // Scans of one component each may use more blocks a unit than an interleaved scan can.
    if (frame.components.size() > 1 && blocks > C_MAX_BLOCKS_IN_MCU)
        return false;
    return (!steps.mirrorsX || frame.size.width % unit.width == 0)
        && (!steps.mirrorsY || frame.size.height % unit.height == 0);
}

Result<void> turn(RewriteJob const& job, JpegSource const& source, AtomicFile& output)
{
    return Turner(job, source, output).run();
}

} // namespace velk::codec::jpeg
