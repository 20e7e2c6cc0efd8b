// The whole check: the files read as the Mapper reads them, every probe in turn (the slow ones
// side by side in child processes), the report's lines and the verdict.
#include <cstdlib>

#include "mapper/check.h"
#include "mapper/load.h"
#include "shell/files.h"

static CHKline line(CHKstate state, const std::string &item, const std::string &text, const std::string &fix = "")
{
    CHKline l;
    l.state = state;
    l.item = item;
    l.text = text;
    l.fix = fix;
    return l;
}

// ---- the whole check ------------------------------------------------------------------------------

static void filesLines(CHKreport *report, std::string *input)
{
    char prefs[1024];
    std::string folder = VQXFILESgetPrefsPath(prefs);
    if (!VQXFILESprefsFolderExists()) {
        report->lines.push_back(line(CHK_NOT, "files", "the preferences folder " + folder + " is missing",
            "run vqx-install-preferences, or start the editor once"));
        return;
    }
    LOADresult r = LOADread();
    *input = r.table.input;
    std::string names = "OrvendaVQX.cfg, " + r.table.mapName + " and " + r.table.remName;
    if (r.status != 0) {
        report->lines.push_back(line(CHK_NOT, "files", "cannot be read: " + r.why,
            "open the editor to see what is wrong, or put the shipped files back with "
            "\"vqx-install-preferences --overwrite\""));
        return;
    }
    report->mappingRead = true;
    if (r.alerts > 0)
        report->lines.push_back(line(CHK_NOT, "files",
            names + " read with " + std::to_string(r.alerts) + " message(s), the first: " + r.why,
            "open the editor to see and mend what is wrong; what could be read is used meanwhile"));
    else
        report->lines.push_back(line(CHK_OK, "files", names + " read without a message"));
    size_t withTimings = 0;
    for (const MTABbutton &b : r.table.buttons)
        if (!b.tokens.empty())
            withTimings++;
    std::string item = "remote " + r.table.remName;
    if (r.table.frequency == 0 && r.table.bitTime == 0 && withTimings > 0)
        report->lines.push_back(line(CHK_OK, item,
            std::to_string(withTimings)
                + " buttons as key codes (for INT "
                  "evdev:NAME)"));
    else if (r.table.bitTime > 0 && withTimings > 0)
        report->lines.push_back(line(CHK_OK, item,
            std::to_string(withTimings) + " buttons with infrared timings (carrier " + std::to_string(r.table.frequency)
                + " Hz, unit " + std::to_string(r.table.bitTime) + " µs)"));
    else {
        report->mappingRead = false;
        report->lines.push_back(line(CHK_NOT, item, "has no button the Mapper can recognise",
            "learn your remote: vqx-mapper learn MyRemote.REM, then choose it in the editor"));
    }
}

CHKreport CHKcollect(const CHKoptions &options)
{
    CHKreport report;
    int t = options.timeoutMs;
    // The slow probes start first, side by side; their answers are collected in order below.
    std::vector<CHKchild> children;
    if (getenv("DISPLAY") && *getenv("DISPLAY"))
        children.push_back(CHKstart("xtest", t, CHKprobeXTest));
    children.push_back(CHKstart("sound", t, [t]() { return CHKprobeSound(t - 500); }));
    children.push_back(CHKstart("front application", t, CHKprobeFront));
    children.push_back(CHKstart("session bus", t, [t]() { return CHKprobeBus(t - 500); }));

    std::string input;
    filesLines(&report, &input);
    if (!options.input.empty())
        input = options.input;
    bool anyReceiver = false;
    std::vector<CHKline> receivers = CHKreceivers(options.devDir, &anyReceiver);
    bool automatic = input.empty() || input.compare(0, 3, "USB") == 0 || input == "lirc";
    // Without a receiver plugged in, that is only worth a note when the source is named otherwise.
    if (!automatic && !anyReceiver && receivers.size() == 1 && receivers[0].item == "receivers") {
        receivers[0].state = CHK_NOTE;
        receivers[0].fix.clear();
    }
    report.lines.insert(report.lines.end(), receivers.begin(), receivers.end());
    report.lines.push_back(CHKlircd(""));
    bool sourceOk = false;
    report.lines.push_back(CHKsource(input, options.devDir, &sourceOk));
    // The source chosen decides: a receiver found counts only when the choice is automatic.
    report.sourceReadable = sourceOk;

    bool uinput = false;
    report.lines.push_back(CHKuinput(options.devDir + "/uinput", &uinput));
    bool xtest = false;
    size_t next = 0;
    if (getenv("DISPLAY") && *getenv("DISPLAY")) {
        std::vector<CHKline> lines = CHKfinish(&children[next++]);
        for (const CHKline &l : lines)
            xtest = xtest || (l.item == "xtest" && l.state == CHK_OK);
        report.lines.insert(report.lines.end(), lines.begin(), lines.end());
    } else {
        report.lines.push_back(line(uinput ? CHK_NOTE : CHK_NOT, "xtest", "no X display ($DISPLAY is not set)",
            uinput ? "" : "only needed where uinput cannot be used: run the Mapper in an X11 session"));
    }
    report.outputAvailable = uinput || xtest;
    if (uinput)
        report.lines.push_back(line(CHK_OK, "output", "--output auto would use uinput"));
    else if (xtest)
        report.lines.push_back(line(CHK_OK, "output", "--output auto would use xtest, because uinput cannot be used"));
    else
        report.lines.push_back(line(CHK_NOT, "output", "no way to send keys, mouse clicks or text",
            "make uinput usable (see the uinput line), or run the Mapper in an X11 session"));
    for (; next < children.size(); next++) {
        std::vector<CHKline> lines = CHKfinish(&children[next]);
        report.lines.insert(report.lines.end(), lines.begin(), lines.end());
    }
    return report;
}

std::string CHKformat(const CHKline &l)
{
    const char *state = l.state == CHK_OK ? "OK  " : l.state == CHK_NOT ? "NOT " : "NOTE";
    std::string text = std::string(state) + " " + l.item + ": " + l.text + "\n";
    if (!l.fix.empty())
        text += "     fix: " + l.fix + "\n";
    return text;
}

int CHKrun(const CHKoptions &options, FILE *out)
{
    CHKreport report = CHKcollect(options);
    for (const CHKline &l : report.lines)
        fputs(CHKformat(l).c_str(), out);
    std::vector<std::string> missing;
    if (!report.sourceReadable)
        missing.push_back("no receiver or source can be read");
    if (!report.mappingRead)
        missing.push_back("the files cannot be used");
    if (!report.outputAvailable)
        missing.push_back("no output can send keys");
    if (missing.empty()) {
        fputs("Verdict: a press of the remote would work.\n", out);
        return 0;
    }
    std::string why;
    for (const std::string &m : missing)
        why += (why.empty() ? "" : "; ") + m;
    fprintf(out, "Verdict: a press of the remote would not work yet: %s.\n", why.c_str());
    return 1;
}
