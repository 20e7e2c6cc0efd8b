// Compiles the mapping model and the remote's command list, as the shared readers left them, into
// the Mapper's own table of plain values, and looks buttons and entries up in it by name.
#include "mapper/table.h"

#include <cstring>
#include <unordered_map>

#include "mapping/config.h"
#include "mapping/model.h"
#include "mapping/remote.h"

// A fixed-size name field as a string: up to its first zero, never past its end.
static std::string fieldString(const char *field, size_t size)
{
    return std::string(field, strnlen(field, size));
}

// The index of an entry of the model's table, or -1 for none or a pointer outside the entries read.
static int entryIndexOf(const ApplicationRecord *appl, int count)
{
    if (!appl || appl < theActionByApplList || appl >= theActionByApplList + count)
        return -1;
    return (int)(appl - theActionByApplList);
}

static MTABaction flatten(const ActionRecord *record)
{
    const EventRecord &e = record->theEvent;
    MTABaction a;
    a.type = e.common.type;
    a.delay = e.common.delay;
    a.rate1 = e.common.rate1;
    a.reps = e.common.reps;
    a.rate2 = e.common.rate2;
    a.disabled = record->disabled != 0;
    a.override = record->override != 0;
    switch (a.type) {
    case kKeyEventType:
        a.message = e.key.message;
        a.modifiers = e.key.modifiers;
        break;
    case kMouseEventType:
        a.message = e.mouse.message;
        break;
    case kAppleEventType:
        // The path as the mapping names it: the script runner resolves it as the editor would.
        a.path = fieldString(e.script.path, sizeof e.script.path);
        break;
    case kLaunchEventType:
        a.path = fieldString(e.launch.path, sizeof e.launch.path);
        break;
    case kSysVolumeEventType:
        a.volSubtype = e.sysVolume.subtype;
        a.volValue = e.sysVolume.value;
        a.unMute = e.sysVolume.unMute;
        a.fadeType = e.sysVolume.fadeType;
        break;
    case kTextStringEventType:
        a.text = fieldString(e.textString.convertedText, sizeof e.textString.convertedText);
        break;
    default:
        break; // NO_ACTION and anything else carry only the common fields
    }
    return a;
}

static void compileButtons(MTABtable &table)
{
    for (const CommandRecord *cmd = REMfirstCommand(); cmd; cmd = REMnextCommand(cmd)) {
        MTABbutton button;
        button.name = fieldString(cmd->name, sizeof cmd->name);
        int32_t count = cmd->count;
        for (int i = 0; i < count; i++)
            button.tokens.push_back(CMDtoken(cmd, i));
        table.buttons.push_back(button);
    }
}

// A key-code remote (FRQ 0 and BIT 0) gives each button one token, the key code the kernel
// reports for it; the first button of a code takes it, as the first action of a name does.
static void compileKeyCodes(MTABtable &table)
{
    table.keyCodes = table.frequency == 0 && table.bitTime == 0;
    if (!table.keyCodes)
        return;
    for (size_t b = 0; b < table.buttons.size(); b++)
        if (table.buttons[b].tokens.size() == 1)
            table.buttonByKey.emplace((int)table.buttons[b].tokens[0], (int)b);
}

// One entry: every action of its list appended to the table's actions, and each remote button
// pointed at the first action of the button's name (later ones of the same name are never used).
static MTABentry compileEntry(MTABtable &table, const ApplicationRecord &appl)
{
    MTABentry entry;
    entry.name = fieldString(appl.name, sizeof appl.name);
    entry.disabled = appl.disabled != 0;
    std::unordered_map<std::string, int> firstByName;
    for (const ActionRecord *record = appl.first; record; record = record->next) {
        int index = (int)table.actions.size();
        table.actions.push_back(flatten(record));
        std::string name = fieldString(record->theEvent.common.name, sizeof record->theEvent.common.name);
        firstByName.emplace(name, index); // keeps the first of a name
    }
    entry.actionByButton.assign(table.buttons.size(), -1);
    for (size_t b = 0; b < table.buttons.size(); b++) {
        auto found = firstByName.find(table.buttons[b].name);
        if (found != firstByName.end())
            entry.actionByButton[b] = found->second;
    }
    return entry;
}

static void compileRemote(MTABtable &table)
{
    table.frequency = RemoteParms.frequency;
    table.bitTime = RemoteParms.bitTime;
    compileButtons(table);
    compileKeyCodes(table);
}

MTABtable MTABcompileRemote(void)
{
    MTABtable table;
    table.remName = fieldString(remFileName, sizeof remFileName);
    compileRemote(table);
    return table;
}

MTABtable MTABcompile(void)
{
    MTABtable table;
    table.mapName = fieldString(mapFileName, sizeof mapFileName);
    table.remName = fieldString(remFileName, sizeof remFileName);
    table.input = fieldString(adapterName, sizeof adapterName);
    compileRemote(table);
    int count = numApplications;
    if (count < 0)
        count = 0;
    if (count > kMaxApplications)
        count = kMaxApplications;
    for (int i = 0; i < count; i++)
        table.entries.push_back(compileEntry(table, theActionByApplList[i]));
    table.globalEntry = entryIndexOf(theGlobalAppl, count);
    table.defaultEntry = entryIndexOf(theDefaultAppl, count);
    return table;
}

int MTABbuttonIndex(const MTABtable &table, const std::string &name)
{
    for (size_t i = 0; i < table.buttons.size(); i++)
        if (table.buttons[i].name == name)
            return (int)i;
    return -1;
}

int MTABkeyButton(const MTABtable &table, int code)
{
    auto found = table.buttonByKey.find(code);
    return found == table.buttonByKey.end() ? -1 : found->second;
}

int MTABentryIndex(const MTABtable &table, const std::string &name)
{
    for (size_t i = 0; i < table.entries.size(); i++)
        if (table.entries[i].name == name)
            return (int)i;
    return -1;
}
