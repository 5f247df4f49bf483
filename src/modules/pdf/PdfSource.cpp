#include "modules/pdf/PdfSource.h"

#include "modules/VectorRows.h"
#include "platform/codec/DescriptiveTags.h"
#include "platform/codec/PropertyKeys.h"

#include <fcntl.h>
#include <poppler.h>

#include <cerrno>
#include <memory>

namespace velk::codec::pdf {

using namespace graphics;

namespace {

constexpr double kPointsPerInch = 72;

struct Release {
    void operator()(void* object) const { g_object_unref(object); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(char* text) const { g_free(text); }
};
template <typename T> using Owned = std::unique_ptr<T, Release>;

struct FirstPage {
    Owned<PopplerDocument> document;
    Owned<PopplerPage> page;
};

// The library takes over the descriptor, whatever comes of it; it names the offset of each read.
Result<FirstPage> openFirstPage(InputFile const& file)
{
    auto const descriptor = ::fcntl(file.descriptor(), F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0)
        return fail("{}", systemMessage(errno));
    GError* error = nullptr;
    FirstPage first;
    first.document.reset(poppler_document_new_from_fd(descriptor, nullptr, &error));
    Owned<GError> const failure(error);
    if (!first.document) {
        if (failure && g_error_matches(failure.get(), POPPLER_ERROR, POPPLER_ERROR_ENCRYPTED))
            return fail("the PDF is locked with a password");
        return fail("the PDF cannot be read: {}", failure ? failure->message : "unknown reason");
    }
    if (poppler_document_get_n_pages(first.document.get()) > 0)
        first.page.reset(poppler_document_get_page(first.document.get(), 0));
    if (!first.page)
        return fail("the PDF has no page");
    return first;
}

struct TextEntry {
    char const* key; ///< in {PDF}
    char* (*get)(PopplerDocument*);
    std::string_view tag = {}; ///< the entry of {TIFF} that means the same
};
constexpr TextEntry kTexts[] = {
    {"Title", poppler_document_get_title},
    {"Author", poppler_document_get_author, "Artist"},
    {"Subject", poppler_document_get_subject, "ImageDescription"},
    {"Keywords", poppler_document_get_keywords},
    {"Creator", poppler_document_get_creator, "Software"},
    {"Producer", poppler_document_get_producer},
};

// As Exif writes dates; empty when the document has none.
std::string creationDate(PopplerDocument* document)
{
    auto* const date = poppler_document_get_creation_date_time(document);
    if (!date)
        return {};
    Owned<char> const text(g_date_time_format(date, "%Y:%m:%d %H:%M:%S"));
    g_date_time_unref(date);
    return text ? std::string(text.get()) : std::string();
}

class PdfSource final : public ImageSource {
public:
    explicit PdfSource(InputFile file)
        : ImageSource(kType, std::move(file))
    {
    }

    Result<void> load()
    {
        auto const first = TRY(openFirstPage(file()));
        poppler_page_get_size(first.page.get(), &m_width, &m_height);
        if (!(m_width > 0 && m_height > 0))
            return fail("the first page of the PDF is empty");
        auto& description = editDescription();
        description.info.layout = {
            TRY(vectorSize(m_width, m_height, kPointsPerInch)), {}, ColorSpace::device(ColorModel::RGB)};
        description.resolution = Resolution {kVectorResolution, kVectorResolution};
        description.isInterpretation = true;
        description.imageCount = poppler_document_get_n_pages(first.document.get());
        if (Owned<char> const packet(poppler_document_get_metadata(first.document.get())); packet)
            description.metadata.setXmp(packet.get());
        auto& properties = subDictionary(description.formatProperties, kDictionary);
        set(properties, "PageCount", description.imageCount);
        set(properties, "PageWidth", m_width);
        set(properties, "PageHeight", m_height);
        DescriptiveTags tags;
        for (auto const& [key, get, tag] : kTexts) {
            Owned<char> const text(get(first.document.get()));
            if (!text || !*text)
                continue;
            set(properties, key, std::string(text.get()));
            if (!tag.empty())
                tags.add(key::kTiff, tag, text.get());
        }
        tags.add(key::kTiff, "DateTime", creationDate(first.document.get()));
        tags.addTo(description.metadata);
        return {};
    }

    Result<DecodedRows> open(DecodeRequest const& request) const override
    {
        auto layout = description().info.layout;
        auto const full = layout.size;
        layout.size = drawnSize(full, request);
        // A document serves one thread.
        auto first = std::make_shared<FirstPage>(TRY(openFirstPage(file())));
        auto rows = std::make_unique<VectorRows>(layout,
            [first = std::move(first), scaleX = layout.size.width / m_width,
                scaleY = layout.size.height / m_height](cairo_t* context) -> Result<void> {
                cairo_scale(context, scaleX, scaleY);
                poppler_page_render(first->page.get(), context);
                return {};
            });
        return DecodedRows {
            std::move(rows), {0, 0, static_cast<double>(full.width), static_cast<double>(full.height)}};
    }

private:
    double m_width = 0, m_height = 0; ///< in points
};

} // namespace

Result<std::shared_ptr<ImageSource>> open(InputFile file)
{
    auto source = std::make_shared<PdfSource>(std::move(file));
    TRY(source->load());
    return source;
}

} // namespace velk::codec::pdf
