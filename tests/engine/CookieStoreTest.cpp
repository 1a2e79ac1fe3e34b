// A cookie goes where it belongs and nowhere else, and outlives the program in a private file.
#include "engine/transfer/CookieStore.h"

#include <sys/stat.h>

#include "LiveTransfer.h"
#include "engine/transfer/CookieHelper.h"

namespace tarvo {

namespace {

constexpr WallTime kNow{std::chrono::seconds(1000000)};
constexpr WallTime kLater{std::chrono::seconds(2000000)};

Cookie cookie(const std::string& name, const std::string& domain, const std::string& path = "/") {
    return {.name = name, .value = "v", .domain = domain, .path = path, .expires = kLater};
}

class CookieStoreTest : public test::TransferFixture {
protected:
    /// The Cookie header for an address.
    std::string sent(const std::string& address, WallTime now = kNow) {
        return CookieHelper::combineCookiesForURL(*Url::parse(address), &m_cookies, now);
    }
};

} // namespace

TEST_F(CookieStoreTest, DomainPathAndTlsDecideAndTheLongerPathComesFirst) {
    for (const Cookie& each :
         {cookie("host", "Example.com"), cookie("all", ".example.com"), cookie("ip", ".1.2.3.4"),
          cookie("net", ".2.3.4"), cookie("top", ".com"), cookie("root", "paths.net"),
          cookie("deep", "paths.net", "/a/b"), cookie("mid", "paths.net", "/a/")})
        m_cookies.add(each, kNow);
    const std::pair<const char*, const char*> cases[] = {
        {"http://EXAMPLE.com/", "host=v;all=v;"},
        {"http://www.example.com/", "all=v;"},
        {"http://notexample.com/", ""},
        {"http://1.2.3.4/", "ip=v;"},
        {"http://paths.net", "root=v;"},
        {"http://paths.net/a/b?q", "deep=v;mid=v;root=v;"},
        {"http://paths.net/a/bc", "mid=v;root=v;"},
        {"http://paths.net/a%2Fb", "root=v;"}, // paths are compared as they are sent
    };
    for (const auto& [address, cookies] : cases)
        EXPECT_EQ(sent(address), cookies) << address;
}

TEST_F(CookieStoreTest, SecureCookiesNeedTlsAndExpiredOnesGoNowhere) {
    Cookie changed = cookie("a", "example.com");
    changed.secure = true;
    m_cookies.add(changed, kNow);
    m_cookies.add(cookie("b", "example.com"), kNow);
    EXPECT_EQ(sent("http://example.com/"), "b=v;");
    EXPECT_EQ(sent("https://example.com/"), "a=v;b=v;");
    EXPECT_EQ(sent("https://example.com/", kLater), "");
    changed.value = "new";
    m_cookies.add(changed, kNow);
    EXPECT_EQ(sent("https://example.com/"), "a=new;b=v;") << "in its place";
    changed.expires = kNow;
    m_cookies.add(changed, kNow);
    EXPECT_EQ(sent("https://example.com/"), "b=v;");
}

TEST_F(CookieStoreTest, NothingThatCouldForgeAHeaderIsKept) {
    Cookie forged = cookie("a", "example.com");
    for (const std::string& bad :
         {std::string("x\r\nHost: evil"), std::string("x\0y", 3), std::string("x; b=2")}) {
        forged.value = bad;
        EXPECT_FALSE(m_cookies.add(forged, kNow));
    }
    EXPECT_FALSE(m_cookies.add(cookie("a=b", "example.com"), kNow));
    EXPECT_FALSE(m_cookies.add(cookie("a", "."), kNow));
}

TEST_F(CookieStoreTest, TheFileKeepsWhatLastsForItsOwnerOnly) {
    Cookie rich = cookie("rich", ".example.com", "/p");
    rich.secure = rich.httpOnly = true;
    rich.value = "a=b \"c\"";
    m_cookies.add(rich, kNow);
    m_cookies.add(cookie("plain", "example.com"), kNow);
    Cookie session = cookie("session", "example.com");
    session.expires.reset();
    m_cookies.add(session, kNow);
    const std::string path = m_folder.path("new/cookies.txt");
    ASSERT_TRUE(m_cookies.save(m_disk, path, kNow));

    struct stat status {};

    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    EXPECT_EQ(test::contentOf(path), "# Netscape HTTP Cookie File\n"
                                     "#HttpOnly_.example.com\tTRUE\t/p\tTRUE\t2000000\trich\ta=b \"c\"\n"
                                     "example.com\tFALSE\t/\tFALSE\t2000000\tplain\tv\n");
    m_cookies.removeAll();
    m_folder.write("new/cookies.txt", test::contentOf(path) +
                                          "no cookie at all\r\n"
                                          "example.com\tFALSE\t/\tFALSE\tsoon\tx\t1\n"
                                          "example.com\tFALSE\t/\tFALSE\t99999999999999999999\tx\t1\n"
                                          "example.com\tFALSE\t/\tFALSE\t0\tsession\t1\r\n"
                                          "example.com\tFALSE\t/\tFALSE\t2000000\tlast\t");
    ASSERT_TRUE(m_cookies.load(m_disk, path, kNow));
    EXPECT_EQ(sent("https://www.example.com/p"), "rich=a=b \"c\";");
    EXPECT_EQ(sent("http://example.com/p"), "plain=v;session=1;last=;") << "a broken line costs only itself";
}

TEST_F(CookieStoreTest, TheOldestMakeRoom) {
    for (int i = 0; i < 3001; ++i)
        m_cookies.add(cookie("n", "h" + std::to_string(i) + ".example"), kNow);
    EXPECT_EQ(sent("http://h0.example/"), "");
    EXPECT_EQ(sent("http://h1.example/"), "n=v;");
}

} // namespace tarvo
