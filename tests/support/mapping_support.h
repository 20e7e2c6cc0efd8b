// Helpers of the mapping-model tests: a preferences folder holding a given configuration,
// mapping and remote file, a recording presenter installed for one test, and a field-by-field
// snapshot of the whole model for comparisons.
#ifndef VQX_TESTS_MAPPING_SUPPORT_H
#define VQX_TESTS_MAPPING_SUPPORT_H

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "mapping/config.h"
#include "mapping/mapfile.h"
#include "mapping/model.h"
#include "mapping/remote.h"
#include "platform/presenter.h"
#include "support/test_support.h"

// Installs a recording presenter for the lifetime of the object.
class PresenterScope {
public:
    RecordingPresenter presenter;
    PresenterScope() { previous_ = PRESset(&presenter); }
    ~PresenterScope() { PRESset(previous_); }
    PresenterScope(const PresenterScope &) = delete;
    PresenterScope &operator=(const PresenterScope &) = delete;

private:
    Presenter *previous_;
};

// A temporary preferences folder with "test.map" and "test.REM" named by the configuration file,
// which has been read (so the command buffer exists).
class MappingFiles {
public:
    TempConfigHome home;
    explicit MappingFiles(
        const std::string &map, const std::string &rem = "", int mem = 20000, const std::string &remName = "test.REM")
    {
        home.install(false);
        std::string cfg = "UI\nMAP test.map\n";
        if (!remName.empty())
            cfg += "REM " + remName + "\n";
        cfg += "INT USB\nMEM " + std::to_string(mem) + "\n";
        writeFile(path(VQX_CONFIG_FILE_NAME), cfg);
        writeFile(path("test.map"), map);
        if (!remName.empty())
            writeFile(path(remName), rem);
        EXPECT_EQ(readGlobalConfiguration(), 0);
    }
    std::string path(const std::string &name) const { return home.prefsFolder() + "/" + name; }
};

struct ActionSnapshot {
    int32_t type = 0, count = 0, spare = 0, disabled = 0, override = 0;
    std::string name;
    bool pointersOwn = false; // buttonName and event point into the record itself
    int32_t delay = 0, rate1 = 0, reps = 0, rate2 = 0;
    uint32_t message = 0;
    uint16_t modifiers = 0;
    std::string path, specPath, subtypeText, text, convertedText;
    int32_t subtype = 0, unMute = 0, fadeType = 0, value = 0;
};

struct ApplSnapshot {
    std::string name;
    int32_t disabled = 0;
    std::vector<ActionSnapshot> actions;
};

struct ModelSnapshot {
    std::vector<ApplSnapshot> appls;
    int globalIndex = -1, defaultIndex = -1, currentIndex = -1;
    int32_t mapfileVersion = 0;
};

inline int applIndex(const ApplicationRecord *appl)
{
    return appl ? (int)(appl - theActionByApplList) : -1;
}

inline ActionSnapshot snapshotAction(const ActionRecord *a)
{
    ActionSnapshot s;
    const EventRecord &e = a->theEvent;
    s.type = e.common.type;
    s.count = a->count;
    s.spare = a->spare;
    s.disabled = a->disabled;
    s.override = a->override;
    s.name = e.common.name;
    s.pointersOwn = a->buttonName == a->theEvent.common.name && a->event == &a->theEvent;
    s.delay = e.common.delay;
    s.rate1 = e.common.rate1;
    s.reps = e.common.reps;
    s.rate2 = e.common.rate2;
    switch (s.type) {
    case kKeyEventType:
        s.message = e.key.message;
        s.modifiers = e.key.modifiers;
        break;
    case kMouseEventType:
        s.message = e.mouse.message;
        break;
    case kAppleEventType:
        s.path = e.script.path;
        s.specPath = e.script.fileSpec.path;
        break;
    case kLaunchEventType:
        s.path = e.launch.path;
        break;
    case kSysVolumeEventType:
        s.subtypeText = e.sysVolume.subtypeText;
        s.subtype = e.sysVolume.subtype;
        s.unMute = e.sysVolume.unMute;
        s.fadeType = e.sysVolume.fadeType;
        s.value = e.sysVolume.value;
        break;
    case kTextStringEventType:
        s.text = e.textString.text;
        s.convertedText = e.textString.convertedText;
        break;
    default:
        break;
    }
    return s;
}

inline ModelSnapshot snapshotModel()
{
    ModelSnapshot m;
    for (int i = 0; i < numApplications; i++) {
        ApplSnapshot a;
        a.name = theActionByApplList[i].name;
        a.disabled = theActionByApplList[i].disabled;
        for (const ActionRecord *act = theActionByApplList[i].first; act; act = act->next)
            a.actions.push_back(snapshotAction(act));
        m.appls.push_back(a);
    }
    m.globalIndex = applIndex(theGlobalAppl);
    m.defaultIndex = applIndex(theDefaultAppl);
    m.currentIndex = applIndex(theCurrentAppl);
    m.mapfileVersion = mapfileVersion;
    return m;
}

inline void expectSameAction(const ActionSnapshot &x, const ActionSnapshot &y)
{
    EXPECT_EQ(x.type, y.type);
    EXPECT_EQ(x.count, y.count);
    EXPECT_EQ(x.spare, y.spare);
    EXPECT_EQ(x.disabled, y.disabled);
    EXPECT_EQ(x.override, y.override);
    EXPECT_EQ(x.name, y.name);
    EXPECT_EQ(x.pointersOwn, y.pointersOwn);
    EXPECT_EQ(x.delay, y.delay);
    EXPECT_EQ(x.rate1, y.rate1);
    EXPECT_EQ(x.reps, y.reps);
    EXPECT_EQ(x.rate2, y.rate2);
    EXPECT_EQ(x.message, y.message);
    EXPECT_EQ(x.modifiers, y.modifiers);
    EXPECT_EQ(x.path, y.path);
    EXPECT_EQ(x.specPath, y.specPath);
    EXPECT_EQ(x.subtypeText, y.subtypeText);
    EXPECT_EQ(x.subtype, y.subtype);
    EXPECT_EQ(x.unMute, y.unMute);
    EXPECT_EQ(x.fadeType, y.fadeType);
    EXPECT_EQ(x.value, y.value);
    EXPECT_EQ(x.text, y.text);
    EXPECT_EQ(x.convertedText, y.convertedText);
}

inline void expectSameModel(const ModelSnapshot &x, const ModelSnapshot &y)
{
    EXPECT_EQ(x.globalIndex, y.globalIndex);
    EXPECT_EQ(x.defaultIndex, y.defaultIndex);
    EXPECT_EQ(x.currentIndex, y.currentIndex);
    EXPECT_EQ(x.mapfileVersion, y.mapfileVersion);
    ASSERT_EQ(x.appls.size(), y.appls.size());
    for (size_t i = 0; i < x.appls.size(); i++) {
        SCOPED_TRACE("application " + std::to_string(i) + " " + x.appls[i].name);
        EXPECT_EQ(x.appls[i].name, y.appls[i].name);
        EXPECT_EQ(x.appls[i].disabled, y.appls[i].disabled);
        ASSERT_EQ(x.appls[i].actions.size(), y.appls[i].actions.size());
        for (size_t j = 0; j < x.appls[i].actions.size(); j++) {
            SCOPED_TRACE("action " + std::to_string(j) + " " + x.appls[i].actions[j].name);
            expectSameAction(x.appls[i].actions[j], y.appls[i].actions[j]);
        }
    }
}

// The entry of that name, or none.
inline ApplicationRecord *applNamed(const char *name)
{
    for (int i = 0; i < numApplications; i++)
        if (strcmp(theActionByApplList[i].name, name) == 0)
            return &theActionByApplList[i];
    return nullptr;
}

// The names of an application's actions in list order.
inline std::vector<std::string> buttonNames(const ApplicationRecord *appl)
{
    std::vector<std::string> names;
    for (const ActionRecord *a = appl->first; a; a = a->next)
        names.push_back(a->theEvent.common.name);
    return names;
}

// The names of the remote's commands in file order.
inline std::vector<std::string> commandNames()
{
    std::vector<std::string> names;
    for (CommandRecord *cmd = REMfirstCommand(); cmd; cmd = REMnextCommand(cmd))
        names.push_back(cmd->name);
    return names;
}

// Reads a text as a stream (for the routines that take one).
inline FILE *streamOf(const std::string &text)
{
    FILE *f = tmpfile();
    fwrite(text.data(), 1, text.size(), f);
    rewind(f);
    return f;
}

#endif
