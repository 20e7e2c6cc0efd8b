// Trace printers and alerts: where traces go, how alert texts are cut and expanded, and the
// remembered answers of the stop-asking question.
#include <gtest/gtest.h>

#include <string>

#include "mainwindow/eventlog.h"
#include "platform/presenter.h"
#include "shell/diagnostics.h"
#include "support/test_support.h"

namespace {
class DiagnosticsTest : public ::testing::Test {
protected:
    RecordingPresenter presenter;
    void SetUp() override { PRESset(&presenter); }
    void TearDown() override { PRESset(nullptr); }
};

std::string lastLogLine(EWWINFO *log)
{
    return maketext(log->linesWritten - 1, log);
}
} // namespace

TEST_F(DiagnosticsTest, BugPrintfWritesLineToStdoutWhenLogClosed)
{
    std::string out = captureStdout([](void *) { BUGprintf("x"); }, nullptr);
    EXPECT_EQ(out, "x\n");
}

TEST_F(DiagnosticsTest, BugPrintfGoesToOpenLogAndNotToStdout)
{
    EWWinit(128);
    myEw = EWWcreate(100, 100);
    ASSERT_NE(myEw, nullptr);
    std::string out = captureStdout([](void *) { BUGprintf("x %d", 7); }, nullptr);
    EXPECT_EQ(out, "");
    EXPECT_EQ(myEw->linesWritten, 1);
    EXPECT_EQ(lastLogLine(myEw), "x 7");
}

TEST_F(DiagnosticsTest, BugPrintfNRAddsNoLineEnd)
{
    std::string out = captureStdout([](void *) { BUGprintfNR("a"); BUGprintfNR("b"); }, nullptr);
    EXPECT_EQ(out, "ab");
}

TEST_F(DiagnosticsTest, IacPrintfAndZprintfAlwaysWriteToStdout)
{
    EWWinit(128);
    myEw = EWWcreate(100, 100);
    ASSERT_NE(myEw, nullptr);
    std::string out = captureStdout([](void *) {
        BUGIACprintf("tag", "iac %s", "one");
        zprintf("z %d", 2);
    }, nullptr);
    EXPECT_EQ(out, "iac one\nz 2\n");
    EXPECT_EQ(myEw->linesWritten, 0);
}

TEST_F(DiagnosticsTest, ErrormsgShowsAlert129WithText)
{
    errormsg("value %d", 42);
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].id, 129);
    EXPECT_EQ(presenter.shown[0].text, "value 42");
    EXPECT_EQ((unsigned char)theText[0], 8u); // left length-prefixed
}

TEST_F(DiagnosticsTest, AlertTextOf300CharactersShowsFirst254)
{
    std::string text(300, 'a');
    for (size_t i = 0; i < text.size(); i++)
        text[i] = (char)('a' + i % 26);
    errormsg("%s", text.c_str());
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].text, text.substr(0, 254));
}

TEST_F(DiagnosticsTest, FatalAlertExpandsConversionFromArgumentsASecondTime)
{
    VQXALERTprintfFATAL("file [%s]", "100%d done");
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].text.find("%d"), std::string::npos);
    EXPECT_EQ(presenter.shown[0].text.rfind("file [100", 0), 0u);
    EXPECT_NE(presenter.shown[0].text, "file [100%d done]");
    presenter.clear();
    BUGfatal("[%s]", "50%d");
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].text.find("%d"), std::string::npos);
}

TEST_F(DiagnosticsTest, FatalAlertAlsoTracesToOpenLog)
{
    EWWinit(128);
    myEw = EWWcreate(100, 100);
    ASSERT_NE(myEw, nullptr);
    BUGfatal("broken %d", 3);
    EXPECT_EQ(lastLogLine(myEw), "broken 3");
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].text, "broken 3");
}

TEST_F(DiagnosticsTest, FatalAlertDoesNotEndTheProgramAndReturnsAlertItem)
{
    presenter.nextAnswers = {1};
    EXPECT_EQ(VQXALERTprintfFATAL("x"), 1);
}

TEST_F(DiagnosticsTest, PromptForNameReturnsEditedNameOnOk)
{
    char name[64] = "old";
    presenter.nextNames = {"new name"};
    EXPECT_EQ(promptForName("Name?", name, 26), 1);
    EXPECT_STREQ(name, "new name");
    EXPECT_EQ(presenter.lastMaxLen, 26);
    EXPECT_EQ(presenter.shown[0].id, 131);
    EXPECT_EQ(presenter.shown[0].text, "Name?");
}

TEST_F(DiagnosticsTest, PromptForNameLeavesNameOnCancel)
{
    char name[64] = "old";
    EXPECT_EQ(promptForName("Name?", name, 26), 0);
    EXPECT_STREQ(name, "old");
}

TEST_F(DiagnosticsTest, PromptForNameNeverReturnsMoreThanMaxLen)
{
    char name[64] = "";
    presenter.nextNames = {std::string(40, 'n')};
    EXPECT_EQ(promptForName("Name?", name, 10), 1);
    EXPECT_EQ(std::string(name), std::string(10, 'n'));
}

TEST_F(DiagnosticsTest, YnmessageYesIsOneNoIsZero)
{
    presenter.nextAnswers = {1, 2};
    EXPECT_EQ(ynmessage("Sure?"), 1);
    EXPECT_EQ(ynmessage("Sure?"), 0);
    EXPECT_EQ(presenter.shown[0].id, 135);
}

TEST_F(DiagnosticsTest, YnmessageDontWithBoxCheckedIsNotShownAgain)
{
    presenter.nextAnswers = {2};
    presenter.nextCheckbox = {1};
    EXPECT_EQ(ynmessageDont("Again?", 5), 0);
    EXPECT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].id, 140);
    // A set flag answers yes from now on, even though the user pressed No.
    EXPECT_EQ(ynmessageDont("Again?", 5), 1);
    EXPECT_EQ(presenter.shown.size(), 1u);
}

TEST_F(DiagnosticsTest, YnmessageDontUncheckedAsksEveryTime)
{
    presenter.nextAnswers = {1, 1};
    EXPECT_EQ(ynmessageDont("Again?", 7), 1);
    EXPECT_EQ(ynmessageDont("Again?", 7), 1);
    EXPECT_EQ(presenter.shown.size(), 2u);
}

TEST_F(DiagnosticsTest, YnmessageDontNumber200OrMoreIsNeverRemembered)
{
    presenter.nextCheckbox = {1, 1};
    presenter.nextAnswers = {1, 1};
    ynmessageDont("Big?", 200);
    ynmessageDont("Big?", 200);
    EXPECT_EQ(presenter.shown.size(), 2u);
}

TEST_F(DiagnosticsTest, YnmessageDontNumberZeroIsStoredButNeverSuppresses)
{
    presenter.nextCheckbox = {1, 1};
    presenter.nextAnswers = {1, 1};
    ynmessageDont("Zero?", 0);
    ynmessageDont("Zero?", 0);
    EXPECT_EQ(presenter.shown.size(), 2u);
}

TEST_F(DiagnosticsTest, QuestionTextIsCutAt254)
{
    std::string text(300, 'q');
    ynmessage(text.c_str());
    EXPECT_EQ(presenter.shown[0].text.size(), 254u);
}

TEST_F(DiagnosticsTest, SecondExpansionOfHostileTextNeverCrashes)
{
    VQXALERTprintfFATAL("item [%s]", "%n%s%9$s%*d%p%%%q");
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].text, "item [(null)(null)0(nil)%%q]");
}

TEST_F(DiagnosticsTest, SecondExpansionKeepsWidthsAndFlags)
{
    BUGfatal("[%s]", "%5d|%-3s|%x");
    ASSERT_EQ(presenter.shown.size(), 1u);
    EXPECT_EQ(presenter.shown[0].text, "[    0|(null)|0]");
}
