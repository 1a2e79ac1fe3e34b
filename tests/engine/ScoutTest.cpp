// What the probe learns about a file, and how little a strange server can make it believe.
#include "engine/transfer/Scout.h"
#include "engine/transfer/ContentCoding.h"

#include <curl/curl.h>

#include "LiveTransfer.h"

namespace tarvo {

namespace {

class ScoutTest : public test::LiveTransfer {
protected:
    /// Probes an address; the error that stands in the way.
    std::optional<Error> probe(const std::string& address) {
        m_scout = m_factory.createScout(*Url::parse(address), m_token, m_referer);
        return m_scout->runAndGetError();
    }

    /// The name for a file of this last path component and with these knobs.
    std::string nameOf(const std::string& component, const std::string& knobs = {}) {
        EXPECT_FALSE(probe(m_server.url(5000, knobs, component)));
        return m_scout->suggestedFilename();
    }

    ScoutFactory m_factory{m_environment};
    std::shared_ptr<Scout> m_scout;
};

} // namespace

TEST_F(ScoutTest, LearnsSizeAndWhetherPartsCanBeFetched) {
    const std::tuple<std::int64_t, const char*, std::int64_t, bool> cases[] = {
        {5'000'000'000, "", 5'000'000'000, true},
        {1, "", 1, false},
        {5000, "norange", 5000, false},
        {5000, "nolength", 0, false},
        {5000, "status=405&until=1", 5000, true}, // refuses HEAD
        {5000, "redirect=10", 5000, true},
        {5000, "norangeheader", 5000, false}, // the parts would not be believed
        {5000, "excess=1", 5000, false},
        {5000, "status=503&from=2&until=2", 5000, true}, // serves one connection at a time
        {5000, "reset&from=2&until=2", 5000, true},
        {5000, "silent&from=2&until=2", 5000, true}, // in two seconds
    };
    for (const auto& [size, knobs, contentLength, multipart] : cases) {
        const auto error = probe(m_server.url(size, knobs));
        EXPECT_FALSE(error) << size << " " << knobs << ": " << error->sentence();
        EXPECT_EQ(m_scout->contentLength(), contentLength) << size << " " << knobs;
        EXPECT_EQ(m_scout->supportsMultipartDownloads(), multipart) << size << " " << knobs;
        EXPECT_FALSE(m_scout->requiresAuthentication() || m_scout->isHtmlPage() || m_scout->isFtpDirectory());
    }
    EXPECT_LT(m_server.bytesSent(), 50'000'000) << "a probe takes a byte, not the file";
}

TEST_F(ScoutTest, TellsWhatStandsInTheWay) {
    EXPECT_TRUE(
        probe(m_server.url(5000, "redirect=11"))->is(ErrorDomain::CurlSegment, CURLE_TOO_MANY_REDIRECTS));
    EXPECT_FALSE(probe(m_server.url(5000, "type=Text/HTML;charset%3Dutf-8")));
    EXPECT_TRUE(m_scout->isHtmlPage());

    EXPECT_TRUE(probe(m_server.url(5000, "auth=digest"))->is(ErrorDomain::CurlHttp, 401));
    EXPECT_TRUE(m_scout->requiresAuthentication());
    m_token = std::make_shared<TRAuthToken>("", "bob", "secret");
    EXPECT_FALSE(probe(m_server.url(5000, "auth=digest")));
    EXPECT_FALSE(m_scout->requiresAuthentication());
    EXPECT_TRUE(m_scout->supportsMultipartDownloads());

    m_server.stop();
    EXPECT_TRUE(probe(m_server.url(5000))->is(ErrorDomain::CurlSegment, CURLE_COULDNT_CONNECT));
}

TEST_F(ScoutTest, NamesTheFile) {
    const std::string evil = "disposition=" + test::knobValue("attachment; filename=\"../x.pdf\"");
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"report", "type=application/pdf", "report.pdf"},
        {"a.b", "type=application/pdf;v%3D1", "a.b"},
        {"a.jar", "type=application/zip", "a.jar"},
        {"a.torrent", "type=application/octet-stream", "a.torrent"},
        {"v1.2", "type=application/zip", "v1.2.zip"},
        {"download.php", "type=application/zip", "download.php.zip"},
        {"index.php", "type=text/plain", "index.php"},
        {"v1.2", "type=application/x-unheard-of", "v1.2"},
        {"a%20%C3%BC.bin", "", "a \xc3\xbc.bin"},
        {std::string(300, 'x'), "", std::string(244, 'x')}, // room for .trdownload is kept
        {"..%2F..%2Fetc%2Fpasswd", "", "_.._etc_passwd"},
        {"a", "disposition=attachment;%20filename%3Dreport.pdf", "report.pdf"},
        {"a", evil, "_x.pdf"},
        {"a.bin", "disposition=inline", "a.bin"},
    };
    for (const auto& [component, knobs, name] : cases)
        EXPECT_EQ(nameOf(component, knobs), name);
    const std::string target = m_server.url(5000, "", "target.bin");
    EXPECT_EQ(nameOf("a", "to=" + test::knobValue(target)), "target.bin") << "where the redirects led";
}

TEST(NameFromContentDisposition, ThePlainNameThenTheExtendedOne) {
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {"attachment; filename = \"my report.pdf\"; size=3", "my report.pdf"},
        {"attachment; filename*=UTF-8''other.pdf; filename=\"plain.pdf\"", "plain.pdf"},
        {"attachment; filename=my report.pdf ; size=1", "my report.pdf"},
        {R"(attachment; name="filename=x.exe; a"; FILENAME="a; \"b\"\\.zip";size=1)", R"(a; "b"\.zip)"},
        {"filename=\"a.zip", "a.zip"},
        {"attachment; notfilename=a.zip; filename=\"\"; filename*=UTF-8''b.zip; x", "b.zip"},
        {"attachment; filename*=UTF-8''%e2%82%ac%20rates.pdf", "\xe2\x82\xac rates.pdf"},
        {"attachment; FileName*=iso-8859-1'en'%A3.pdf", "\xc2\xa3.pdf"},
        {"attachment; filename*=KOI8-R''%A3.pdf", std::nullopt},
        {"attachment; filename*=nonsense", std::nullopt},
        {"attachment; filename*=UTF-8''", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [value, name] : cases)
        EXPECT_EQ(nameFromContentDisposition(value), name) << value;
}

TEST(WithEndingOfCoding, TellsHowTheBytesAreCompressedOnce) {
    const std::array<std::string, 3> cases[] = {
        {"a.txt", " GZIP", "a.txt.gz"},     {"a.tar.gz", "x-gzip", "a.tar.gz"},
        {"a.tgz", "gzip", "a.tgz"},         {"a", "br", "a.br"},
        {"a.tar.Z", "compress", "a.tar.Z"}, {"a", "identity", "a"}};
    for (const auto& [name, coding, told] : cases)
        EXPECT_EQ(withEndingOfCoding(name, coding), told);
}

} // namespace tarvo
