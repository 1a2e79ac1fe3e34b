// The password is compared by a script that pam_exec runs: the one module of every installation that can.
#include "support/PamService.h"

#include <atomic>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <spdlog/fmt/fmt.h>
#include <unistd.h>

namespace tarvo::test {
namespace {

constexpr const char* kServices = "/etc/pam.d/";
constexpr const char* kPrefix = "tarvo-test-";

} // namespace

PamService::PamService(const std::string& user, const std::string& password, const std::string& folder) {
    static std::atomic<int> count{0};
    m_name = fmt::format("{}{}-{}", kPrefix, ::getpid(), ++count);
    const std::string script = folder + "/compare-password";
    std::ofstream(script) << "given=$(tr -d '\\0')\n"
                          << fmt::format("[ \"$PAM_USER:$given\" = '{}:{}' ]\n", user, password);
    std::ofstream service(kServices + m_name);
    service << "auth required pam_exec.so quiet expose_authtok /bin/sh " << script << "\n"
            << "auth required pam_permit.so\n" // pam_exec has no say in what follows the check
            << "account required pam_permit.so\nsession required pam_permit.so\n";
    service.close();
    EXPECT_TRUE(service.good()) << "can't make " << kServices << m_name << ": this test needs to run as root";
}

PamService::~PamService() {
    std::error_code ignored;
    std::filesystem::remove(kServices + m_name, ignored);
}

} // namespace tarvo::test
