#include "ui/PreviewReader.h"

#include <array>
#include <memory>

#include <QImageReader>
#include <QMimeDatabase>

#include "rows/TextPreview.h"

namespace tarvo {

namespace {

constexpr std::int64_t kMostText = 65'536;         // bytes
constexpr std::int64_t kMostRead = 64 * 1'048'576; // bytes
constexpr std::int64_t kMostOfArchive =
    16 * 1'048'576; // its directory is kept in memory, at some times its size
constexpr std::chrono::milliseconds kMostTime{5'000};
constexpr int kMostMiBDecoded = 256;
constexpr int kLongestSide = 2'048; // pixels of what is shown

std::unique_ptr<BoundedFile> opened(const PreviewRequest& request, std::int64_t mostRead,
                                    const std::atomic<bool>& cancelled, QString& problem) {
    auto file = BoundedFile::open(request.path, {request.readable, mostRead, kMostTime}, cancelled);
    if (file)
        return std::move(*file);
    problem = QString::fromStdString(file.error().sentence());
    return nullptr;
}

std::string headOf(BoundedFile& file) {
    std::string head(static_cast<std::size_t>(kMostText), '\0');
    const std::int64_t count = file.readAt(0, head.data(), kMostText);
    head.resize(static_cast<std::size_t>(std::max<std::int64_t>(count, 0)));
    return head;
}

/// Kinds that are nothing but pixels.
bool isPlainPicture(const QByteArray& format) {
    static constexpr std::array<const char*, 9> kinds{"png", "jpeg", "jpg", "gif", "webp",
                                                      "bmp", "ico",  "ppm", "pgm"};
    return std::any_of(kinds.begin(), kinds.end(), [&](const char* kind) { return format == kind; });
}

/// What of an unfinished picture can't be decoded stays transparent, and nothing that was in memory before.
bool decode(QImageReader& reader, bool isWhole, QImage& picture) {
    const QSize size = reader.size();
    const bool isLarge = std::max(size.width(), size.height()) > kLongestSide;
    if (isLarge && (isWhole || reader.format() == "jpeg"))
        reader.setScaledSize(size.scaled(kLongestSide, kLongestSide, Qt::KeepAspectRatio));
    if (!isWhole && reader.scaledSize().isEmpty() && reader.imageFormat() != QImage::Format_Invalid) {
        picture = QImage(size, reader.imageFormat());
        picture.fill(0);
    }
    const bool isDecoded = reader.read(&picture);
    return isDecoded || (!isWhole && !picture.isNull());
}

bool readPicture(const PreviewRequest& request, const std::atomic<bool>& cancelled, PreviewContent& content) {
    const auto file = opened(request, kMostRead, cancelled, content.problem);
    if (!file)
        return false;
    QImageReader reader(file.get());
    if (!isPlainPicture(reader.format()))
        return false;
    QImageReader::setAllocationLimit(kMostMiBDecoded);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (size.isEmpty() || static_cast<std::int64_t>(size.width()) * size.height() > kMostPixels)
        return false;
    QImage picture;
    if (!decode(reader, request.isWhole, picture))
        return false;
    const bool isLarge = std::max(picture.width(), picture.height()) > kLongestSide;
    content.picture = isLarge ? picture.scaled(kLongestSide, kLongestSide, Qt::KeepAspectRatio) : picture;
    content.pictureSize = size;
    content.isCut = !request.isWhole;
    content.kind = PreviewContent::Kind::picture;
    return true;
}

bool readArchive(const PreviewRequest& request, std::string_view head, const std::atomic<bool>& cancelled,
                 PreviewContent& content) {
    if (!request.isWhole || !looksLikeArchive(head)) // a ZIP file's directory stands at its end
        return false;
    const auto file = opened(request, kMostOfArchive, cancelled, content.problem);
    auto list = file ? listArchive(*file) : std::nullopt;
    if (!list)
        return false;
    content.isCut = list->isCut;
    content.archive = std::move(*list);
    content.kind = PreviewContent::Kind::archive;
    return true;
}

bool readText(const PreviewRequest& request, std::string_view head, PreviewContent& content) {
    const auto text = head.empty() ? std::nullopt : textOf(head);
    if (!text)
        return false;
    content.text = *text;
    content.isCut = !request.isWhole || content.fileSize > kMostText;
    content.kind = PreviewContent::Kind::text;
    return true;
}

} // namespace

PreviewContent readPreview(const PreviewRequest& request, const std::atomic<bool>& cancelled) {
    PreviewContent content;
    const auto file = opened(request, kMostText, cancelled, content.problem);
    if (!file)
        return content;
    content.fileSize = file->fileSize();
    const std::string head = headOf(*file);
    const auto type = QMimeDatabase().mimeTypeForFileNameAndData(QString::fromStdString(request.name),
                                                                 QByteArray::fromStdString(head));
    content.mediaType = type.name();
    content.description = type.comment();
    if (!readArchive(request, head, cancelled, content) && !readPicture(request, cancelled, content))
        readText(request, head, content);
    return content;
}

} // namespace tarvo
