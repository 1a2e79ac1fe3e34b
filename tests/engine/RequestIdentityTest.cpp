// What a request says about its sender: proxy, referrer and keys.
#include <filesystem>

#include "LiveTransfer.h"
#include "base/SettingKeys.h"
#include "engine/transfer/ProxyUrlProvider.h"
#include "engine/transfer/Referer.h"
#include "engine/transfer/TRAuthToken.h"

namespace tarvo {

namespace {

class RequestIdentity : public test::TransferFixture {
protected:
    std::string proxyFor(const char* text) {
        m_defaults.set(SettingKey::kProxyUrl, text);
        const auto proxy = ProxyUrlProvider(m_defaults).proxyUrl();
        if (!proxy)
            return "refused";
        return *proxy ? (*proxy)->absoluteString() : "none";
    }
};

} // namespace

TEST_F(RequestIdentity, AProxyIsReadAsPeopleTypeIt) {
    EXPECT_EQ(ProxyUrlProvider(m_defaults).proxyUrl().value(), std::nullopt);
    EXPECT_EQ(proxyFor(""), "none");
    EXPECT_EQ(proxyFor(" http://10.0.0.1:3128 "), "http://10.0.0.1:3128");
    EXPECT_EQ(proxyFor("localhost:3128"), "http://localhost:3128");
    EXPECT_EQ(proxyFor("bob:secret@[::1]:3128"), "http://bob:secret@[::1]:3128");
    EXPECT_EQ(proxyFor("socks5h://localhost:1080"), "socks5h://localhost:1080");
    for (const char* bad : {"not a proxy", "ftp://host:21", "/etc/proxy", "host:port", "http://a\r\nb"})
        EXPECT_EQ(proxyFor(bad), "refused") << bad;
    m_defaults.registerDefaults({{std::string(SettingKey::kProxyUrl), ""}});
    m_defaults.set(SettingKey::kProxyUrl,
                   QStringList{"http://bob:sec", "ret@host:3128"}); // a comma outside quotes
    EXPECT_FALSE(ProxyUrlProvider(m_defaults).proxyUrl());
}

TEST_F(RequestIdentity, ARedirectLetsOthersKnowTheOriginAtMost) {
    const std::tuple<const char*, const char*, std::optional<std::string>> cases[] = {
        {"https://bob:pw@Host/a?key=1#part", "https://host:443/b", "https://host/a?key=1"},
        {"https://host/a?key=1", "https://other/b", "https://host/"},
        {"http://bob:pw@host:8080/a", "http://host/b", "http://host:8080/"},
        {"http://host/a", "https://host/a", "http://host/"},
        {"https://host/a?key=1", "http://host/a", {}},
    };
    for (const auto& [from, to, referer] : cases)
        EXPECT_EQ(refererAfterRedirect(*Url::parse(from), *Url::parse(to)), referer) << from << " " << to;
}

TEST_F(RequestIdentity, TheKeysComeFromTheChosenFolderOneAfterTheOther) {
    const TRAuthToken token("sftp://host", "bob", "", m_folder.path());
    std::filesystem::create_directory(m_folder.path("id_ed25519"));
    EXPECT_EQ(token.privKey(), std::nullopt);
    for (const char* name : {"id_dsa", "id_rsa", "id_rsa.pub", "id_ecdsa", "identity"})
        m_folder.write(name, "");
    std::string attempts;
    for (const auto& attempt : token.sshAttempts())
        attempts += attempt->privKey()->substr(m_folder.path("").size()) + (attempt->pubKey() ? "+pub" : "") +
                    (attempt->asksAgent() ? "+agent" : "") + (attempt->offersPassword() ? "+password " : " ");
    EXPECT_EQ(attempts, "id_ecdsa+agent id_rsa+pub id_dsa+password ");
    for (const std::string& bookmark :
         {std::string(), m_folder.path("gone"), std::string("relative"), std::string("/a\0b", 4)})
        EXPECT_EQ(TRAuthToken("sftp://host", "", "", bookmark).sshDir(), std::nullopt);
}

} // namespace tarvo
