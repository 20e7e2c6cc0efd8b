// Entry of the logic tests: the program path points into the build's program folder (so the
// pristine files and the resource file are found as the program finds them), and every test
// starts from freshly reset modules with a recording presenter.
#include <QCoreApplication>
#include <gtest/gtest.h>

#include "platform/resfile.h"
#include "shell/files.h"
#include "support/test_support.h"

static const std::string programPath = std::string(VQX_APPDIR) + "/vqx-map-editor";

// The leak checker of the sanitizer build: the resource file registered here stays registered
// until the process ends, which the checker would otherwise report in every test.
extern "C" const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:QResource::registerResource\n";
}

class ResetEnvironment : public ::testing::EmptyTestEventListener {
    void OnTestStart(const ::testing::TestInfo &) override
    {
        mainArgs0 = programPath.c_str();
        resetAllModules();
    }
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    mainArgs0 = programPath.c_str();
    RESopenBesideProgram(mainArgs0);
    ::testing::UnitTest::GetInstance()->listeners().Append(new ResetEnvironment);
    return RUN_ALL_TESTS();
}
