// What is shown of files: of good ones what they hold, of hostile ones nothing that hurts.
#include "ui/PreviewReader.h"

#include <archive.h>
#include <archive_entry.h>

#include <filesystem>
#include <random>

#include <QBuffer>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/TemporaryFolder.h"

namespace tarvo {

namespace {

using Kind = PreviewContent::Kind;

class PreviewReaderTest : public ::testing::Test {
protected:
    PreviewContent read(const std::string& name, std::int64_t readable = INT64_MAX) const {
        return readPreview({folder.path(name), name, readable, readable == INT64_MAX}, cancelled);
    }

    /// The bytes of a PNG of that size, red.
    static std::string png(int side) {
        QImage red(side, side, QImage::Format_RGB32);
        std::minstd_rand noise;
        for (int y = 0; y < side; ++y)
            for (int x = 0; x < side; ++x) // so that it can't be packed well
                red.setPixel(x, y,
                             qRgb(255, static_cast<int>(noise() % 256), static_cast<int>(noise() % 256)));
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        red.save(&buffer, "png");
        return bytes.toStdString();
    }

    /// `count` empty files, and before them one that has `first` zeros.
    void writeArchive(const std::string& name, bool isZip, int count, std::int64_t first) const {
        archive* writer = archive_write_new();
        if (isZip)
            archive_write_set_format_zip(writer);
        else
            archive_write_set_format_gnutar(writer);
        if (!isZip)
            archive_write_add_filter_gzip(writer);
        ASSERT_EQ(archive_write_open_filename(writer, folder.path(name).c_str()), ARCHIVE_OK);
        const std::string zeros(1'048'576, '\0');
        for (int i = -1; i < count; ++i) {
            archive_entry* entry = archive_entry_new();
            archive_entry_set_pathname(entry, i < 0 ? "../first\n" : std::to_string(i).c_str());
            archive_entry_set_filetype(entry, AE_IFREG);
            archive_entry_set_size(entry, i < 0 ? first : 0);
            archive_write_header(writer, entry);
            for (std::int64_t done = 0; i < 0 && done < first; done += 1'048'576)
                archive_write_data(writer, zeros.data(), zeros.size());
            archive_entry_free(entry);
        }
        archive_write_free(writer);
    }

    const test::TemporaryFolder folder;
    std::atomic<bool> cancelled{false};
};

} // namespace

TEST_F(PreviewReaderTest, ShowsTextPicturesAndListsOfArchives) {
    folder.write("page.html", "<script>x</script>");
    const auto page = read("page.html");
    EXPECT_EQ(page.kind, Kind::text);
    EXPECT_EQ(page.text, QStringLiteral("<script>x</script>")) << "as it stands";
    EXPECT_FALSE(page.isCut);
    folder.write("wrong.txt", png(2100));
    const auto picture = read("wrong.txt");
    EXPECT_EQ(picture.kind, Kind::picture);
    EXPECT_EQ(picture.pictureSize, QSize(2100, 2100));
    EXPECT_EQ(picture.picture.width(), 2048);
    for (const bool isZip : {true, false}) {
        writeArchive("a", isZip, 2, 1'048'576);
        const auto list = read("a");
        ASSERT_EQ(list.kind, Kind::archive) << isZip;
        ASSERT_EQ(list.archive.entries.size(), 3u);
        EXPECT_EQ(list.archive.entries[0].name.toStdString(), "../first\uFFFD");
        EXPECT_EQ(list.archive.entries[0].size, 1'048'576);
        EXPECT_FALSE(list.isCut);
    }
    writeArchive("many", true, 1500, 0);
    EXPECT_EQ(read("many").archive.entries.size(), kMostEntries);
    EXPECT_TRUE(read("many").isCut);
}

TEST_F(PreviewReaderTest, ShowsTheBeginningOfWhatIsUnfinished) {
    const std::string whole = png(200);
    folder.write("data", whole.substr(0, whole.size() / 2) + std::string(whole.size() / 2, '\0'));
    const auto half = read("data", static_cast<std::int64_t>(whole.size() / 2));
    ASSERT_EQ(half.kind, Kind::picture);
    EXPECT_EQ(qRed(half.picture.pixel(0, 0)), 255);
    EXPECT_EQ(qAlpha(half.picture.pixel(199, 199)) * qRed(half.picture.pixel(199, 199)), 0);
    folder.write("text", "there" + std::string(100, '\0'));
    EXPECT_EQ(read("text", 5).text, QStringLiteral("there"));
    EXPECT_EQ(read("text", 0).kind, Kind::nothing);
    writeArchive("zip", true, 3, 0);
    EXPECT_NE(read("zip", 100).kind, Kind::archive);
}

TEST_F(PreviewReaderTest, AHostileFileIsBounded) {
    std::string huge(54, '\0'); // the head of a BMP (Windows GDI, BITMAPINFOHEADER) of 60,000 × 60,000 pixels
    huge.replace(0, 2, "BM");
    const auto put = [&](std::size_t at, std::uint32_t value) {
        for (std::size_t i = 0; i < 4; ++i)
            huge[at + i] = static_cast<char>(value >> (8 * i));
    };
    put(2, 0x7FFFFFFF), put(10, 54), put(14, 40), put(18, 60'000), put(22, 60'000), put(26, 0x180001);
    folder.write("huge.bmp", huge);
    EXPECT_EQ(read("huge.bmp").kind, Kind::nothing);
    writeArchive("bomb.tar.gz", false, 5, std::int64_t(64) << 20); // a thousandth of that when packed
    const auto bomb = BoundedFile::open(folder.path("bomb.tar.gz"),
                                        {INT64_MAX, 30'000, std::chrono::seconds(60)}, cancelled);
    ASSERT_TRUE(bomb);
    const auto list = listArchive(**bomb);
    ASSERT_TRUE(list);
    EXPECT_EQ(list->entries.size(), 1u) << "it may not read as far as the second";
    EXPECT_TRUE(list->isCut);
    EXPECT_EQ(read("bomb.tar.gz").archive.entries.size(), 6u);
    cancelled = true;
    EXPECT_EQ(read("bomb.tar.gz").kind, Kind::nothing);
    cancelled = false;
    for (const std::string cut : {"PK\x03\x04 and no more", "PK\x05\x06", "\x1f\x8b\x08"}) {
        folder.write("cut", cut);
        EXPECT_NE(read("cut").kind, Kind::archive);
    }
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    std::filesystem::create_symlink("/etc/passwd", folder.path("link"));
    for (const char* name : {"pipe", "link", "missing", "."})
        EXPECT_FALSE(read(name).problem.isEmpty()) << name;
}

} // namespace tarvo
