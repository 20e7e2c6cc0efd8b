// The per-user installer program: creates the preferences folder with the pristine files, keeps
// the user's files, and restores them with --overwrite.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>

#include "shell/files.h"
#include "support/test_support.h"

namespace {
// Runs the installer with the given arguments; returns its exit status and fills its output.
int runInstaller(const std::string &args, std::string *output)
{
    std::string command = "\"" + appDir() + "/vqx-install-preferences\" " + args + " 2>&1";
    FILE *pipe = popen(command.c_str(), "r");
    if (!pipe)
        return -1;
    char buf[512];
    output->clear();
    while (fgets(buf, sizeof buf, pipe))
        *output += buf;
    int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
} // namespace

TEST(Installer, EmptyConfigHomeGetsFolderAndSevenIdenticalFiles)
{
    TempConfigHome config;
    std::string out;
    ASSERT_EQ(runInstaller("", &out), 0) << out;
    struct stat st;
    ASSERT_EQ(stat(config.prefsFolder().c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0770u);
    EXPECT_NE(out.find("created " + config.prefsFolder()), std::string::npos);
    for (const InstallationFile &file : installationFiles) {
        std::string installed = config.prefsFolder() + "/" + file.name;
        ASSERT_TRUE(fileExists(installed)) << file.name;
        EXPECT_EQ(readFile(installed), readFile(appDir() + "/" + file.name)) << file.name;
        EXPECT_FALSE(readFile(installed).empty()) << file.name;
        EXPECT_NE(out.find(std::string("installed ") + file.name), std::string::npos) << out;
    }
}

TEST(Installer, SecondRunKeepsEditedFiles)
{
    TempConfigHome config;
    std::string out;
    ASSERT_EQ(runInstaller("", &out), 0);
    writeFile(config.prefsFolder() + "/OrvendaVQXM1.map", "MAPVER 2\n");
    ASSERT_EQ(runInstaller("", &out), 0);
    EXPECT_EQ(readFile(config.prefsFolder() + "/OrvendaVQXM1.map"), "MAPVER 2\n");
    EXPECT_NE(out.find("kept OrvendaVQXM1.map"), std::string::npos);
}

TEST(Installer, OverwriteRestoresEditedFile)
{
    TempConfigHome config;
    std::string out;
    ASSERT_EQ(runInstaller("", &out), 0);
    writeFile(config.prefsFolder() + "/OrvendaVQXM1.map", "MAPVER 2\n");
    ASSERT_EQ(runInstaller("--overwrite", &out), 0) << out;
    EXPECT_EQ(readFile(config.prefsFolder() + "/OrvendaVQXM1.map"), readFile(appDir() + "/OrvendaVQXM1.map"));
    EXPECT_NE(out.find("replaced OrvendaVQXM1.map"), std::string::npos);
}

TEST(Installer, MissingFileInExistingFolderIsAdded)
{
    TempConfigHome config;
    config.install(false);
    writeFile(config.prefsFolder() + "/OrvendaVQX.cfg", "UI\n");
    std::string out;
    ASSERT_EQ(runInstaller("", &out), 0);
    EXPECT_EQ(readFile(config.prefsFolder() + "/OrvendaVQX.cfg"), "UI\n");
    EXPECT_TRUE(fileExists(config.prefsFolder() + "/DeckSet.REM"));
}

TEST(Installer, UnknownOptionFailsWithUsage)
{
    TempConfigHome config;
    std::string out;
    EXPECT_EQ(runInstaller("--bogus", &out), 2);
    EXPECT_NE(out.find("unknown option --bogus"), std::string::npos);
    EXPECT_FALSE(fileExists(config.prefsFolder()));
}

TEST(Installer, UnusableFolderFailsWithMessage)
{
    TempConfigHome config;
    std::string blocker = config.home() + "/blocker";
    writeFile(blocker, "not a folder");
    setenv("XDG_CONFIG_HOME", blocker.c_str(), 1);
    std::string out;
    EXPECT_NE(runInstaller("", &out), 0);
    EXPECT_NE(out.find("vqx-install-preferences:"), std::string::npos) << out;
}
