// Logins for a test: a service of the system's authentication (PAM) that knows one user name and password.
#pragma once

#include <string>

namespace tarvo::test {

/// Lets a real server check passwords without a system user being made. Needs root: the service is a file in
/// /etc/pam.d for as long as the object lives. No other program asks for a service of this name.
class PamService {
public:
    /// Accepts `user` with `password`, and no other user. `folder` takes the script that compares them.
    PamService(const std::string& user, const std::string& password, const std::string& folder);
    ~PamService();

    PamService(const PamService&) = delete;
    PamService& operator=(const PamService&) = delete;

    /// Unique to this process and object.
    const std::string& name() const { return m_name; }

private:
    std::string m_name;
};

} // namespace tarvo::test
