#include "cli/GivenCredentials.h"

#include <QUrl>

namespace tarvo {

void rememberGiven(const Options& options, const Url& url, AuthenticationManager& credentials) {
    if (!options.userName)
        return;
    if (options.password) {
        credentials.rememberGiven(url, *options.userName, *options.password);
        return;
    }
    QUrl account(QString::fromStdString(url.absoluteString())); // the keyring may know the one of this user
    account.setUserName(QString::fromStdString(*options.userName), QUrl::DecodedMode);
    account.setPassword(QString());
    const auto named = Url::parse(account.toEncoded().toStdString());
    const auto known = named ? credentials.getCredentialsForURL(*named) : nullptr;
    credentials.cacheResultForService(AuthenticationManager::getServiceNameFromURL(url), *options.userName,
                                      known ? known->password() : "");
}

} // namespace tarvo
