// Feeds any bytes to the lircd.conf reader as a file's text and converts what it reads into remote
// descriptions; checks what the converter promises about every file it would write.
#include <cstdlib>
#include <sstream>
#include <string>

#include "mapper/import.h"
#include "mapper/lircdconf.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    LCFfile file = LCFparse(std::string(reinterpret_cast<const char *>(data), size));
    for (const IMPremote &r : IMPconvert(file)) {
        if (r.fileName.size() < 5 || r.fileName.size() > IMP_MAX_FILE_BASE + 4 || r.fileName[0] == '.'
            || r.fileName.find('/') != std::string::npos)
            abort();
        if (!r.converted) {
            if (!r.text.empty() || r.why.empty())
                abort();
            continue;
        }
        if (r.bitTime <= 0 || r.buttons.empty() || r.buttons.size() > IMP_MAX_BUTTONS)
            abort();
        // Every CMD line: a valid name, 1 to 99 tokens of four hexadecimal digits, no mark of 0.
        std::istringstream lines(r.text);
        size_t commands = 0;
        for (std::string line; std::getline(lines, line);) {
            std::istringstream words(line);
            std::string word, name;
            words >> word;
            if (word != "CMD")
                continue;
            words >> name;
            if (!IMPbuttonNameOk(name) || name != r.buttons[commands++])
                abort();
            int tokens = 0;
            while (words >> word) {
                if (word.size() != 4 || word.compare(0, 2, "00") == 0)
                    abort();
                tokens++;
            }
            if (tokens < 1 || tokens > 99)
                abort();
        }
        if (commands != r.buttons.size())
            abort();
    }
    return 0;
}
