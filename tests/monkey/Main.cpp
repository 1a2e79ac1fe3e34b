// The main function of the monkey: it may choose any folder of the machine in a dialog, so it is never root.
#include "base/Localized.h"
#include "base/Runloop.h"
#include "support/TemporaryFolder.h"

#include <filesystem>

#include <QCoreApplication>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr unsigned kNobody = 65534;

void leaveRoot(const std::string& folder) {
    if (::geteuid() != 0)
        return;
    ::mkdir("/tmp/.X11-unix", 01777); // only root may make it
    ::chmod("/tmp/.X11-unix", 01777);
    if (::chown(folder.c_str(), kNobody, kNobody) != 0 || ::setgroups(0, nullptr) != 0 ||
        ::setresgid(kNobody, kNobody, kNobody) != 0 || ::setresuid(kNobody, kNobody, kNobody) != 0)
        ::_exit(1);
}

} // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    // The program is copied, for the tree may be where no other user can go.
    const tarvo::test::TemporaryFolder folder;
    std::filesystem::copy_file(TARVO_PROGRAM, folder.path("tarvo"));
    ::setenv("TARVO_MONKEY_PROGRAM", folder.path("tarvo").c_str(), 1);
    leaveRoot(folder.path());
    const QCoreApplication application(argc, argv);
    const tarvo::Runloop::Main mainThread;
    tarvo::installLocalizedTexts();
    return RUN_ALL_TESTS();
}
