// The script runner: compiled chunks (written by the real luac), source, the ".scpt" name rule,
// the compiled chunk kept in the file's extended attribute, running, failing and disposing.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/xattr.h>
#include <unistd.h>

#include "mapperlink/script.h"
#include "unit/mapperlink_support.h"

using namespace mapperlinktest;
namespace fs = std::filesystem;

namespace {

struct TempFolder {
    std::string path;
    explicit TempFolder(const std::string &base = "/tmp")
    {
        std::string pattern = base + "/vqx-script-XXXXXX";
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        path = mkdtemp(buffer.data()) ? buffer.data() : "";
    }
    ~TempFolder()
    {
        std::error_code ec;
        if (!path.empty())
            fs::remove_all(path, ec);
    }
    std::string file(const std::string &name) const { return path + "/" + name; }
};

FSSpec fsspecOf(const std::string &path)
{
    FSSpec target;
    snprintf(target.path, sizeof target.path, "%s", path.c_str());
    return target;
}

// Lua source that writes `text` into the file `marker`.
std::string markerSource(const std::string &marker, const std::string &text)
{
    return "local f = assert(io.open('" + marker + "', 'w'))\nf:write('" + text + "')\nf:close()\n";
}

// The source compiled by luac5.4 into `output`; the compiled bytes.
std::string compileWithLuac(const TempFolder &dir, const std::string &source, const std::string &output)
{
    std::string src = dir.file("luac-input.lua");
    writeFile(src, source);
    std::string text;
    EXPECT_EQ(runProgram(QStringLiteral("/usr/bin/luac5.4"),
                         {"-o", QString::fromStdString(output), QString::fromStdString(src)}, &text),
              0)
        << text;
    std::string bytes = readFile(output);
    EXPECT_EQ(bytes.substr(0, 5), std::string("\x1bLua\x54", 5));
    return bytes;
}

// Loads and runs the file as the script page's test does; the load result.
int loadAndRun(const std::string &path, int *runResult = nullptr)
{
    FSSpec target = fsspecOf(path);
    OSAID id = 0;
    int err = LoadScript(&target, &id);
    if (err != 0)
        return err;
    int run = ExecuteScript(id);
    if (runResult)
        *runResult = run;
    DisposeScript(id);
    return 0;
}

// Loads and runs the file, which must succeed and write `text` into the folder's file "ran".
void expectRunWritesMarker(const TempFolder &dir, const std::string &name, const std::string &text)
{
    int run = -1;
    ASSERT_EQ(loadAndRun(dir.file(name), &run), 0);
    EXPECT_EQ(run, 0);
    EXPECT_EQ(readFile(dir.file("ran")), text);
}

// A folder whose file system takes user extended attributes: /tmp, else the build folder.
std::string xattrBase()
{
    for (std::string base : {std::string("/tmp"), appDir()}) {
        std::string probe = base + "/vqx-xattr-probe-" + std::to_string(getpid());
        writeFile(probe, "x");
        bool ok = setxattr(probe.c_str(), "user.vqx.probe", "1", 1, 0) == 0;
        unlink(probe.c_str());
        if (ok)
            return base;
        printf("user extended attributes refused in %s (%s); trying another folder\n", base.c_str(),
               strerror(errno));
    }
    return "";
}
} // namespace

TEST(ScriptRunner, ChunkCompiledByLuacLoadsAsCompiledData)
{
    TempFolder dir;
    std::string bytes = compileWithLuac(dir, markerSource(dir.file("ran"), "compiled"), dir.file("compiled.scpt"));
    FSSpec target = fsspecOf(dir.file("compiled.scpt"));
    OSAID id = 0;
    ASSERT_EQ(LoadScript(&target, &id), 0);
    EXPECT_NE(id, 0);
    EXPECT_EQ(ExecuteScript(id), 0);
    EXPECT_EQ(DisposeScript(id), 0);
    EXPECT_EQ(readFile(dir.file("ran")), "compiled");
    // The same bytes under tryLoad alone; tryCompile refuses them.
    OSAID direct = 0;
    EXPECT_EQ(tryLoad(bytes.data(), (long)bytes.size(), &direct), 0);
    EXPECT_NE(direct, 0);
    OSAID asText = 99;
    EXPECT_EQ(tryCompile(bytes.data(), (long)bytes.size(), &asText), kScriptSyntaxError);
    EXPECT_EQ(asText, 0);
}

TEST(ScriptRunner, SourceLoadsAsSource)
{
    TempFolder dir;
    std::string source = markerSource(dir.file("ran"), "source");
    writeFile(dir.file("Play.lua"), source);
    expectRunWritesMarker(dir, "Play.lua", "source");
    OSAID id = 0;
    EXPECT_EQ(tryLoad(source.data(), (long)source.size(), &id), kScriptCorruptData);
}

TEST(ScriptRunner, ScptNamedFileHoldingSourceFailsAsCompiledThenCompiles)
{
    TempFolder dir;
    writeFile(dir.file("a.scpt"), markerSource(dir.file("ran"), "a.scpt"));
    expectRunWritesMarker(dir, "a.scpt", "a.scpt");
}

// A file that is neither compiled nor valid source returns the error of the second attempt, which
// tells which interpretation came first.
TEST(ScriptRunner, FileNamedExactlyDotScptIsTriedAsCompiledFirst)
{
    TempFolder dir;
    writeFile(dir.file(".scpt"), "this is not lua (\n");
    std::string out = captureOutput([&] { EXPECT_EQ(loadAndRun(dir.file(".scpt")), kScriptSyntaxError); });
    EXPECT_TRUE(contains(out, "Orvenda VQX ERROR: script .scpt: .scpt:1:")) << out;
}

TEST(ScriptRunner, NameEndingInUpperCaseScptIsTriedAsSourceFirst)
{
    TempFolder dir;
    writeFile(dir.file("Old.SCPT"), "this is not lua (\n");
    EXPECT_EQ(loadAndRun(dir.file("Old.SCPT")), kScriptCorruptData);
    writeFile(dir.file("plain"), "this is not lua (\n");
    EXPECT_EQ(loadAndRun(dir.file("plain")), kScriptCorruptData);
    // A compiled chunk under such a name loads all the same, at the second attempt.
    compileWithLuac(dir, markerSource(dir.file("ran"), "upper"), dir.file("Compiled.SCPT"));
    expectRunWritesMarker(dir, "Compiled.SCPT", "upper");
}

TEST(ScriptRunner, EmptyFileCompilesAsEmptyText)
{
    TempFolder dir;
    writeFile(dir.file("empty.lua"), "");
    writeFile(dir.file("empty.scpt"), "");
    int run = -1;
    EXPECT_EQ(loadAndRun(dir.file("empty.lua"), &run), 0);
    EXPECT_EQ(run, 0);
    run = -1;
    EXPECT_EQ(loadAndRun(dir.file("empty.scpt"), &run), 0);
    EXPECT_EQ(run, 0);
    OSAID id = 0;
    EXPECT_EQ(tryLoad("", 0, &id), kScriptCorruptData);
}

TEST(ScriptRunner, CompiledChunkInAttributeRunsWhateverTheFileHolds)
{
    std::string base = xattrBase();
    ASSERT_FALSE(base.empty()) << "no folder takes user extended attributes";
    TempFolder dir(base);
    std::string chunk = compileWithLuac(dir, markerSource(dir.file("resource"), "attribute"), dir.file("chunk"));
    writeFile(dir.file("Both.lua"), markerSource(dir.file("data"), "data fork"));
    ASSERT_EQ(setxattr(dir.file("Both.lua").c_str(), "user.vqx.scpt.128", chunk.data(), chunk.size(), 0), 0);
    int run = -1;
    ASSERT_EQ(loadAndRun(dir.file("Both.lua"), &run), 0);
    EXPECT_EQ(run, 0);
    EXPECT_EQ(readFile(dir.file("resource")), "attribute");
    EXPECT_FALSE(fileExists(dir.file("data")));
    // Even a file whose own bytes are nothing loadable.
    writeFile(dir.file("junk.scpt"), "\x01\x02 not a script at all (");
    ASSERT_EQ(setxattr(dir.file("junk.scpt").c_str(), "user.vqx.scpt.128", chunk.data(), chunk.size(), 0), 0);
    fs::remove(dir.file("resource"));
    ASSERT_EQ(loadAndRun(dir.file("junk.scpt"), &run), 0);
    EXPECT_EQ(readFile(dir.file("resource")), "attribute");
}

TEST(ScriptRunner, BadAttributeIsTracedAndFileIsUsed)
{
    std::string base = xattrBase();
    ASSERT_FALSE(base.empty()) << "no folder takes user extended attributes";
    TempFolder dir(base);
    writeFile(dir.file("Fallback.lua"), markerSource(dir.file("data"), "data fork"));
    ASSERT_EQ(setxattr(dir.file("Fallback.lua").c_str(), "user.vqx.scpt.128", "return 1", 8, 0), 0);
    std::string out = captureOutput([&] { EXPECT_EQ(loadAndRun(dir.file("Fallback.lua")), 0); });
    EXPECT_EQ(out, "Orvenda VQX ERROR: OSALoad() ERROR, returned -1702\n");
    EXPECT_EQ(readFile(dir.file("data")), "data fork");
}

TEST(ScriptRunner, FileWithoutAttributeGivesMinusOneAndClosesIt)
{
    TempFolder dir;
    writeFile(dir.file("plain.lua"), "return 1");
    int fd = open(dir.file("plain.lua").c_str(), O_RDONLY);
    ASSERT_GE(fd, 0);
    OSAID id = 0;
    EXPECT_EQ(LoadScriptFromResFile(fd, &id), -1);
    EXPECT_EQ(id, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1); // closed
}

TEST(ScriptRunner, RuntimeErrorReturnsNonZeroAndIsTraced)
{
    TempFolder dir;
    writeFile(dir.file("fails.lua"), "local x = 1\nerror('boom')\n");
    FSSpec target = fsspecOf(dir.file("fails.lua"));
    OSAID id = 0;
    ASSERT_EQ(LoadScript(&target, &id), 0);
    std::string out = captureOutput([&] { EXPECT_EQ(ExecuteScript(id), kScriptRunError); });
    char expected[128];
    snprintf(expected, sizeof expected, "Orvenda VQX ERROR: OSAExecute(%x) returned -1753 (%x)...\n", (unsigned)id,
             (unsigned)-1753);
    EXPECT_TRUE(contains(out, expected)) << out;
    EXPECT_TRUE(contains(out, "fails.lua:2: boom")) << out;
    // The failed run disposed of the script itself; disposing of it again fails silently.
    out = captureOutput([&] { EXPECT_EQ(DisposeScript(id), 0); });
    EXPECT_EQ(out, "");
    EXPECT_EQ(ExecuteScript(id), kScriptInvalidID);
}

TEST(ScriptRunner, SuccessfulRunKeepsScriptForAnotherRun)
{
    TempFolder dir;
    writeFile(dir.file("count.lua"), "counter = (counter or 0) + 1\nreturn counter\n");
    FSSpec target = fsspecOf(dir.file("count.lua"));
    OSAID id = 0;
    ASSERT_EQ(LoadScript(&target, &id), 0);
    EXPECT_EQ(ExecuteScript(id), 0);
    EXPECT_EQ(ExecuteScript(id), 0);
    EXPECT_EQ(DisposeScript(id), 0);
    EXPECT_EQ(ExecuteScript(id), kScriptInvalidID);
}

TEST(ScriptRunner, SyntaxErrorInSourceIsTracedWithInterpreterWords)
{
    TempFolder dir;
    writeFile(dir.file("bad.lua"), "if then\n");
    std::string out = captureOutput([&] { EXPECT_EQ(loadAndRun(dir.file("bad.lua")), kScriptCorruptData); });
    EXPECT_TRUE(contains(out, "Orvenda VQX ERROR: script bad.lua: bad.lua:1:")) << out;
}

TEST(ScriptRunner, MissingFileIsTracedWithItsName)
{
    std::string out = captureOutput([] { EXPECT_EQ(loadAndRun("/nonexistent/vqx/Missing.scpt"), -43); });
    EXPECT_EQ(out, "Orvenda VQX ERROR: open Missing.scpt returned -43\n");
}

TEST(ScriptRunner, FolderIsTracedAsReadFailure)
{
    TempFolder dir;
    std::string out = captureOutput([&] { EXPECT_EQ(loadAndRun(dir.path), -EISDIR); });
    EXPECT_EQ(out, "Orvenda VQX ERROR: FSRead returned " + std::to_string(-EISDIR) + "\n");
}

TEST(ScriptRunner, DisposeOfNullScriptOnlyOpensComponent)
{
    EXPECT_EQ(scriptingComponent, nullptr);
    EXPECT_EQ(DisposeScript(0), 0);
    EXPECT_NE(scriptingComponent, nullptr);
    lua_State *same = scriptingComponent;
    EXPECT_EQ(DisposeScript(0), 0);
    EXPECT_EQ(scriptingComponent, same);
}

TEST(ScriptRunner, ComponentIsCreatedOnFirstLoad)
{
    TempFolder dir;
    writeFile(dir.file("x.lua"), "return nil");
    EXPECT_EQ(scriptingComponent, nullptr);
    FSSpec target = fsspecOf(dir.file("x.lua"));
    OSAID id = 0;
    ASSERT_EQ(LoadScript(&target, &id), 0);
    EXPECT_NE(scriptingComponent, nullptr);
    DisposeScript(id);
}

TEST(ScriptRunner, ScriptsReachUserAndTraceThroughVqxTable)
{
    TempFolder dir;
    writeFile(dir.file("talk.lua"), "vqx.log('logged ' .. 42)\nvqx.alert('Hello from the remote')\n");
    RecordingPresenter presenter;
    PRESset(&presenter);
    int run = -1;
    std::string out = captureOutput([&] { EXPECT_EQ(loadAndRun(dir.file("talk.lua"), &run), 0); });
    PRESset(nullptr);
    EXPECT_EQ(run, 0);
    EXPECT_EQ(out, "logged 42\n");
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].id, 129);
    EXPECT_EQ(presenter.shown[0].text, "Hello from the remote");
}

TEST(ScriptRunner, ScriptCannotEndTheEditor)
{
    TempFolder dir;
    writeFile(dir.file("exit.lua"), "os.exit(3)\n");
    int run = 0;
    std::string out = captureOutput([&] { EXPECT_EQ(loadAndRun(dir.file("exit.lua"), &run), 0); });
    EXPECT_EQ(run, kScriptRunError);
    EXPECT_TRUE(contains(out, "os.exit is not available")) << out;
}

TEST(ScriptRunner, ProgressCallbackReturnsTwo)
{
    EXPECT_EQ(callback(), 2);
}
