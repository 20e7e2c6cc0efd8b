// File locations: the resources folder from the program path, opening working files with their
// pristine copies, the lists of mapping and remote files, remote pictures and running processes.
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "shell/files.h"
#include "support/test_support.h"

namespace {
std::string resourcesFor(const char *programPath)
{
    char path[1024];
    snprintf(path, sizeof path, "%s", programPath);
    return contentsMacOSToResources(path);
}

class FilesTest : public ::testing::Test {
protected:
    TempConfigHome config;
    std::string prefs;
    void SetUp() override { prefs = config.prefsFolder(); }
};
} // namespace

TEST(ResourcesPath, ProductBundleGivesItsResourcesFolder)
{
    EXPECT_EQ(resourcesFor("/Apps/OrvendaVQX.app/Contents/MacOS/Editor"), "/Apps/OrvendaVQX.app/Contents/Resources");
}

TEST(ResourcesPath, EditorBundleInsideResourcesGivesThatFolder)
{
    EXPECT_EQ(resourcesFor("/Apps/OrvendaVQX.app/Contents/Resources/Editor.app/Contents/MacOS/Editor"),
              "/Apps/OrvendaVQX.app/Contents/Resources");
}

TEST(ResourcesPath, PlainProgramGivesItsFolder)
{
    EXPECT_EQ(resourcesFor("/tmp/editor"), "/tmp");
    EXPECT_EQ(resourcesFor("/usr/lib/orvenda-vqx/vqx-map-editor"), "/usr/lib/orvenda-vqx");
}

TEST(ResourcesPath, PathWithoutSlashIsUnchanged)
{
    EXPECT_EQ(resourcesFor("editor"), "editor");
}

TEST(ResourcesPath, FromProgramPathAndFileInIt)
{
    mainArgs0 = "/opt/vqx/vqx-map-editor";
    EXPECT_STREQ(VQXFILESgetResourcesPath(), "/opt/vqx");
    EXPECT_STREQ(VQXFILESpathToResourcesFile("a.REM"), "/opt/vqx/a.REM");
    char buffer[1024];
    EXPECT_STREQ(VQXFILESgetMapperApplicationPath(buffer), "/opt/vqx/VQXMapperApplication.app");
    mainArgs0 = nullptr;
    EXPECT_STREQ(VQXFILESpathToResourcesFile("a.REM"), "a.REM");
}

TEST_F(FilesTest, PrefsPathEndsInPreferencesFolder)
{
    char buffer[1024];
    ASSERT_NE(VQXFILESgetPrefsPath(buffer), nullptr);
    EXPECT_EQ(std::string(buffer), prefs);
}

TEST_F(FilesTest, PrefsPathFallsBackToHomeConfig)
{
    std::string home = config.home() + "/home";
    std::filesystem::create_directories(home);
    unsetenv("XDG_CONFIG_HOME");
    std::string oldHome = getenv("HOME") ? getenv("HOME") : "";
    setenv("HOME", home.c_str(), 1);
    char buffer[1024];
    char *result = VQXFILESgetPrefsPath(buffer);
    setenv("HOME", oldHome.c_str(), 1);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(std::string(buffer), home + "/.config/Orvenda VQX Preferences");
}

TEST_F(FilesTest, PrefsFolderExistsOnlyWhenCreated)
{
    EXPECT_EQ(VQXFILESprefsFolderExists(), 0);
    EXPECT_EQ(VQXFILEScreatePrefsFolder(), 0);
    EXPECT_EQ(VQXFILESprefsFolderExists(), 1);
    struct stat st;
    ASSERT_EQ(stat(prefs.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0770u);
}

TEST_F(FilesTest, CreatingExistingFolderTracesMkdirError)
{
    config.install(false);
    int result = 0;
    std::string out = captureStdout([](void *r) { *(int *)r = VQXFILEScreatePrefsFolder(); }, &result);
    EXPECT_NE(result, 0);
    EXPECT_NE(out.find("Orvenda VQX ERROR: mkdir [" + prefs + "] error 17"), std::string::npos);
}

TEST_F(FilesTest, OpeningMissingConfigForReadingCopiesFromBundleFirst)
{
    config.install(false);
    std::string out = captureStdout([](void *) {
        FILE *f = VQXFILESopenPrefsFile("OrvendaVQX.cfg", "r", 0);
        ASSERT_NE(f, nullptr);
        fclose(f);
    }, nullptr);
    EXPECT_NE(out.find("copying from [" + appDir() + "/OrvendaVQX.cfg] to [" + prefs + "/OrvendaVQX.cfg]"),
              std::string::npos);
    EXPECT_EQ(readFile(prefs + "/OrvendaVQX.cfg"), readFile(appDir() + "/OrvendaVQX.cfg"));
}

TEST_F(FilesTest, ExistingWorkingFileIsNotCopiedOver)
{
    config.install(false);
    writeFile(prefs + "/OrvendaVQX.cfg", "UI\n");
    FILE *f = VQXFILESopenPrefsFile("OrvendaVQX.cfg", "r", 0);
    ASSERT_NE(f, nullptr);
    fclose(f);
    EXPECT_EQ(readFile(prefs + "/OrvendaVQX.cfg"), "UI\n");
}

TEST_F(FilesTest, OverwriteReplacesWorkingFile)
{
    config.install(false);
    writeFile(prefs + "/OrvendaVQX.cfg", "UI\n");
    FILE *f = VQXFILESopenPrefsFile("OrvendaVQX.cfg", "r", 1);
    ASSERT_NE(f, nullptr);
    fclose(f);
    EXPECT_EQ(readFile(prefs + "/OrvendaVQX.cfg"), readFile(appDir() + "/OrvendaVQX.cfg"));
}

TEST_F(FilesTest, OpeningMissingMappingForWritingCopiesThenTruncates)
{
    config.install(false);
    std::string out = captureStdout([](void *) {
        FILE *f = VQXFILESopenPrefsFile("OrvendaVQXM1.map", "w", 0);
        ASSERT_NE(f, nullptr);
        fclose(f);
    }, nullptr);
    EXPECT_NE(out.find("copying from ["), std::string::npos);
    EXPECT_TRUE(fileExists(prefs + "/OrvendaVQXM1.map"));
    EXPECT_EQ(readFile(prefs + "/OrvendaVQXM1.map"), "");
}

TEST_F(FilesTest, OpeningWithoutPreferencesFolderTracesOpenFailure)
{
    FILE *f = nullptr;
    std::string out = captureStdout([](void *r) { *(FILE **)r = VQXFILESopenPrefsFile("OrvendaVQX.cfg", "r", 0); },
                                    &f);
    EXPECT_EQ(f, nullptr);
    EXPECT_NE(out.find("Orvenda VQX ERROR: VQXFILESopenPrefsFile(): unable to open prefs file OrvendaVQX.cfg"),
              std::string::npos);
}

TEST_F(FilesTest, EmptyNameFailsAsAMissingFileAndDoesNotOpenTheFolder)
{
    config.install(false);
    FILE *f = nullptr;
    std::string out = captureStdout([](void *r) { *(FILE **)r = VQXFILESopenPrefsFile("", "r", 0); }, &f);
    EXPECT_EQ(f, nullptr);
    if (f)
        fclose(f);
    EXPECT_NE(out.find("Orvenda VQX ERROR: VQXFILESopenPrefsFile(): unable to open prefs file \n"), std::string::npos);
    EXPECT_EQ(out.find("copying from"), std::string::npos);
}

TEST_F(FilesTest, NameOfAFolderFailsAsAMissingFile)
{
    config.install(false);
    ASSERT_EQ(mkdir((prefs + "/sub.map").c_str(), 0700), 0);
    struct Open {
        const char *name;
        FILE *stream;
    };
    for (const char *name : { ".", "..", "sub.map" }) {
        Open o { name, nullptr };
        std::string out = captureStdout([](void *p) {
            Open *open = static_cast<Open *>(p);
            open->stream = VQXFILESopenPrefsFile(open->name, "r", 0);
        }, &o);
        EXPECT_EQ(o.stream, nullptr) << name;
        if (o.stream)
            fclose(o.stream);
        EXPECT_NE(out.find(std::string("unable to open prefs file ") + name), std::string::npos) << name;
    }
}

TEST_F(FilesTest, NoProgramPathFallsBackToCurrentFolder)
{
    config.install(false);
    std::string cwd = std::filesystem::current_path();
    std::filesystem::current_path(appDir());
    mainArgs0 = nullptr;
    FILE *f = VQXFILESopenPrefsFile("DeckSet.REM", "r", 0);
    std::filesystem::current_path(cwd);
    ASSERT_NE(f, nullptr);
    fclose(f);
    EXPECT_EQ(readFile(prefs + "/DeckSet.REM"), readFile(appDir() + "/DeckSet.REM"));
}

TEST_F(FilesTest, NoUsablePreferencesFolderTracesIt)
{
    setenv("XDG_CONFIG_HOME", "not/absolute", 1);
    std::string oldHome = getenv("HOME") ? getenv("HOME") : "";
    unsetenv("HOME");
    FILE *f = nullptr;
    std::string out = captureStdout([](void *r) { *(FILE **)r = VQXFILESopenPrefsFile("x", "r", 0); }, &f);
    setenv("HOME", oldHome.c_str(), 1);
    EXPECT_EQ(f, nullptr);
    EXPECT_NE(out.find("Orvenda VQX ERROR: VQXFILESopenPrefsFile(): unable to get preferences path"),
              std::string::npos);
}

TEST_F(FilesTest, ResourcesFileOpensTheBundleCopy)
{
    FILE *f = VQXFILESopenResourcesFile("show.Welcome", "r");
    ASSERT_NE(f, nullptr);
    fclose(f);
    FILE *missing = nullptr;
    std::string out = captureStdout([](void *r) { *(FILE **)r = VQXFILESopenResourcesFile("nothing.here", "r"); },
                                    &missing);
    EXPECT_EQ(missing, nullptr);
    EXPECT_NE(out.find("Orvenda VQX ERROR: VQXFILESopenResourcesFile(): unable to open [" + appDir() +
                       "/nothing.here] (mainArgs0="),
              std::string::npos);
}

TEST_F(FilesTest, FileExistsChecks)
{
    config.install(false);
    writeFile(prefs + "/here.map", "MAPVER 2\n");
    EXPECT_EQ(VQXFILESfileExistsInPrefs("here.map"), 1);
    EXPECT_EQ(VQXFILESfileExistsInPrefs("there.map"), 0);
    EXPECT_EQ(VQXFILESfileExists((prefs + "/here.map").c_str()), 1);
    EXPECT_EQ(VQXFILESfileExists("/no/such/file"), 0);
}

TEST_F(FilesTest, TwentyFiveMapFilesListFirstTwentyAndOddSpellingsNot)
{
    config.install(false);
    for (int i = 0; i < 25; i++)
        writeFile(prefs + "/m" + std::to_string(i) + ".map", "");
    writeFile(prefs + "/a.Map", "");
    writeFile(prefs + "/.map", "");
    writeFile(prefs + "/r.REM", "");
    writeFile(prefs + "/s.rem", "");
    writeFile(prefs + "/t.Rem", "");
    writeFile(prefs + "/UP.MAP", "");
    VQXFILESgetPrefsFiles();
    EXPECT_EQ(numberOfMappings, 20);
    EXPECT_EQ(numberOfRemotes, 2);
    for (int i = 0; i < numberOfMappings; i++) {
        EXPECT_STRNE(mapFileNames[i], "a.Map");
        EXPECT_STRNE(mapFileNames[i], ".map");
    }
}

TEST_F(FilesTest, EvaluateNamesBySuffix)
{
    VQXFILESclearMapAndRemFileNames();
    VQXFILESevaluateAsMapOrRemFileName("x.map");
    VQXFILESevaluateAsMapOrRemFileName("Y.MAP");
    VQXFILESevaluateAsMapOrRemFileName("z.REM");
    VQXFILESevaluateAsMapOrRemFileName(".REM");
    VQXFILESevaluateAsMapOrRemFileName("q.Rem");
    EXPECT_EQ(numberOfMappings, 2);
    EXPECT_STREQ(mapFileNames[0], "x.map");
    EXPECT_STREQ(mapFileNames[1], "Y.MAP");
    EXPECT_EQ(numberOfRemotes, 1);
    EXPECT_STREQ(remFileNames[0], "z.REM");
    std::string longName(300, 'n');
    longName += ".map";
    VQXFILESevaluateAsMapOrRemFileName(longName.c_str());
    EXPECT_EQ(strlen(mapFileNames[2]), 255u);
}

TEST_F(FilesTest, ListingWithoutFolderKeepsOldLists)
{
    numberOfMappings = 3;
    VQXFILESgetPrefsFiles();
    EXPECT_EQ(numberOfMappings, 3);
}

TEST(RemotePicture, LowerCaseRemoteNameGetsSuffixInResourcesFolder)
{
    mainArgs0 = "/opt/vqx/vqx-map-editor";
    EXPECT_STREQ(VQXFILEremNameToPicBundleName("x.rem", ".pic"), "/opt/vqx/x.pic");
    EXPECT_STREQ(VQXFILEremNameToPicBundleName("OrvendaVQXM1A.REM", ".pic"), "/opt/vqx/OrvendaVQXM1A.pic");
}

TEST(RemotePicture, NameWithoutRemSuffixGetsSuffixAppended)
{
    mainArgs0 = "/opt/vqx/vqx-map-editor";
    EXPECT_STREQ(VQXFILEremNameToPicBundleName("remote.txt", ".pic"), "/opt/vqx/remote.txt.pic");
}

TEST(RemotePicture, FolderContainingRemCutsEarly)
{
    mainArgs0 = "/opt/my.REMotes/vqx-map-editor";
    EXPECT_STREQ(VQXFILEremNameToPicBundleName("a.REM", ".pic"), "/opt/my.pic");
}

TEST(RunningApplications, ExactNameMatchesAndCaseMatters)
{
    // This test program itself is running; its command name is known from /proc.
    char comm[64] = "";
    FILE *f = fopen("/proc/self/comm", "r");
    ASSERT_NE(f, nullptr);
    ASSERT_NE(fgets(comm, sizeof comm, f), nullptr);
    fclose(f);
    comm[strcspn(comm, "\n")] = '\0';
    std::string self = comm;
    if (self.size() == 15) {
        // The name was cut: the full base name of argv[0] is what is compared.
        self = "vqx_unit_tests";
    }
    EXPECT_EQ(VQXFILESisApplicationRunning(self.c_str()), 1);
    std::string upper = self;
    for (char &c : upper)
        c = (char)toupper((unsigned char)c);
    EXPECT_EQ(VQXFILESisApplicationRunning(upper.c_str()), 0);
    EXPECT_EQ(VQXFILESisApplicationRunning(self.substr(0, self.size() - 1).c_str()), 0);
}

TEST(RunningApplications, ProcessNamedMapperDoesNotMatchLowerCase)
{
    std::string dir = std::filesystem::temp_directory_path() / ("vqx-proc-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    std::filesystem::copy_file("/bin/sleep", dir + "/Mapper", std::filesystem::copy_options::overwrite_existing);
    pid_t child = fork();
    if (child == 0) {
        execl((dir + "/Mapper").c_str(), "Mapper", "5", (char *)nullptr);
        _exit(127);
    }
    int found = 0;
    for (int i = 0; i < 200 && !found; i++) {
        found = VQXFILESisApplicationRunning("Mapper");
        if (!found)
            usleep(10000);
    }
    int lower = VQXFILESisApplicationRunning("mapper");
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    std::filesystem::remove_all(dir);
    EXPECT_EQ(found, 1);
    EXPECT_EQ(lower, 0);
}

TEST(FileSpecifications, PathFromSpecIsAbsolutePathOfExistingFile)
{
    FSSpec file;
    snprintf(file.path, sizeof file.path, "%s/show.Welcome", VQX_APPDIR);
    EXPECT_EQ(std::string(VQXFILESgetPathFromSpec(&file)), std::string(VQX_APPDIR) + "/show.Welcome");
    EXPECT_EQ(std::string(VQXFILESgetMacPathFromSpec(&file)), std::string(VQX_APPDIR) + "/show.Welcome");
    snprintf(file.path, sizeof file.path, "/no/such/file");
    EXPECT_STREQ(VQXFILESgetPathFromSpec(&file), "");
}

TEST(FileSpecifications, PathNameOfFolderEndsInSlash)
{
    unsigned char result[256];
    ASSERT_EQ(PathNameFromDirID("/usr/bin", result), 0);
    EXPECT_EQ(std::string((char *)result + 1, result[0]), "/usr/bin/");
    ASSERT_EQ(PathNameFromDirID("/", result), 0);
    EXPECT_EQ(std::string((char *)result + 1, result[0]), "/");
    EXPECT_LT(PathNameFromDirID("/no/such/folder", result), 0);
}

TEST(Installation, ConfigurationPresentInProductBundle)
{
    std::string root = std::filesystem::temp_directory_path() / ("vqx-bundle-" + std::to_string(getpid()));
    std::filesystem::create_directories(root + "/OrvendaVQX.app/Contents/MacOS");
    std::filesystem::create_directories(root + "/OrvendaVQX.app/Contents/Resources");
    static std::string program;
    program = root + "/OrvendaVQX.app/Contents/MacOS/Editor";
    mainArgs0 = program.c_str();
    std::string out = captureStdout([](void *) { EXPECT_EQ(VQXFILEScfgFilePresentInBundle(), 0); }, nullptr);
    EXPECT_NE(out.find("CFG file [" + root + "/OrvendaVQX.app/Contents/Resources/OrvendaVQX.cfg] missing"),
              std::string::npos);
    writeFile(root + "/OrvendaVQX.app/Contents/Resources/OrvendaVQX.cfg", "UI\n");
    EXPECT_EQ(VQXFILEScfgFilePresentInBundle(), 1);
    std::filesystem::remove_all(root);
}

TEST_F(FilesTest, MoveFilesAsNecessaryCopiesOnlyMissingOnes)
{
    config.install(false);
    writeFile(prefs + "/OrvendaVQXM1.map", "MAPVER 2\n");
    VQXFILESmoveFilesFromBundleAsNecessary();
    for (const InstallationFile &file : installationFiles)
        EXPECT_TRUE(fileExists(prefs + "/" + file.name)) << file.name;
    EXPECT_EQ(readFile(prefs + "/OrvendaVQXM1.map"), "MAPVER 2\n");
    VQXFILESmoveFilesFromBundleOverwrite();
    EXPECT_EQ(readFile(prefs + "/OrvendaVQXM1.map"), readFile(appDir() + "/OrvendaVQXM1.map"));
}

TEST(Installation, TableListsTheSevenFilesInOrder)
{
    const char *expected[] = {"OrvendaVQXM1.map", "OrvendaVQXM1A.REM", "OrvendaVQXM2.map", "OrvendaVQXM2A.REM",
                              "DeckSet.REM",      "OrvendaVQX.cfg",    "show.Welcome"};
    for (int i = 0; i < 7; i++) {
        EXPECT_STREQ(installationFiles[i].name, expected[i]);
        EXPECT_EQ(installationFiles[i].flag, 1);
    }
}
