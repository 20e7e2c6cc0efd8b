// Helpers shared by the logic tests: a presenter that records and answers from a queue, a
// temporary preferences folder, and small file utilities.
#ifndef VQX_TESTS_SUPPORT_H
#define VQX_TESTS_SUPPORT_H

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "platform/presenter.h"

// Records every alert and question; answers from queues (default: alert 1, question item 1).
class RecordingPresenter : public Presenter {
public:
    struct Shown {
        int id;           // alert or dialog number
        std::string text; // the text it showed
    };
    std::vector<Shown> shown;
    std::deque<int> nextAnswers;       // items to answer alerts and questions with
    std::deque<std::string> nextNames; // names to enter in the name prompt (empty queue: cancel)
    std::deque<std::string> nextFiles; // files to choose (empty queue: cancel)
    std::deque<int> nextCheckbox;      // state of dialog 140's check box at the end
    int lastMaxLen = 0;

    int alert(int alertId, const std::string &param0) override;
    int promptForName(const std::string &prompt, std::string &name, int maxLen) override;
    int question(int dialogId, const std::string &text, int *checkbox) override;
    bool chooseFile(const std::vector<std::string> &filters, std::string &path) override;

    // The texts shown so far, in order.
    std::vector<std::string> texts() const;
    // Forgets what was shown.
    void clear() { shown.clear(); }
};

// A fresh temporary folder used as XDG_CONFIG_HOME for one test; removed by the destructor.
class TempConfigHome {
public:
    TempConfigHome();
    ~TempConfigHome();
    const std::string &home() const { return home_; }
    // The preferences folder inside it ("<home>/Orvenda VQX Preferences").
    std::string prefsFolder() const;
    // Creates the preferences folder (and copies the pristine files when asked).
    void install(bool withFiles);

private:
    std::string home_;
    std::string oldValue_;
    bool hadOld_ = false;
};

// A fresh temporary folder for one test, removed with all it holds by the destructor.
struct TestFolder {
    std::string path;
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder &) = delete;
    TestFolder &operator=(const TestFolder &) = delete;
    // The path of `name` inside it.
    std::string file(const std::string &name) const { return path + "/" + name; }
};

std::string readFile(const std::string &path);
void writeFile(const std::string &path, const std::string &content);
bool fileExists(const std::string &path);
// Runs fn with standard output captured; returns what it printed.
std::string captureStdout(void (*fn)(void *), void *data);
// The folder of the built program, its resource file and pristine files.
std::string appDir();

// Runs fn in a forked child and returns its result (0..255), or 1000 + the signal that ended it.
// With unprivileged set and this process running as root, the child first becomes the user
// "nobody", so that file permissions hold for it as they do for an ordinary user.
int runInChild(const std::function<int()> &fn, bool unprivileged);
// Saves again and again in a child process (save returns true for a completed save) and kills it
// at a random moment, rounds times: each time after zero to two completed saves, so that the kills
// fall on saves in progress. After each kill, check(round) looks at what was left, and temporary
// files (names starting with ".") left in folder are removed. Returns the saves completed.
int killWhileSaving(int rounds, unsigned seed, const std::string &folder, const std::function<bool()> &save,
                    const std::function<void(int round)> &check);
// Makes a folder reachable by every user (for children that run unprivileged).
void openToEveryone(const std::string &folder);

// Puts every module back as at start-up (between tests).
void resetAllModules();

#endif
