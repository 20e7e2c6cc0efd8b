// Feeds any bytes as a .desktop file to its reader and as a WM_CLASS property to its splitter,
// and checks what they give back: a class without line ends, parts that came from the input.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "mapper/desktopentries.h"
#include "mapper/front.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string text(reinterpret_cast<const char *>(data), size);
    DSEfile file = DSEparse(text);
    // A value is one line: it can hold a newline only through an escape, which is in the input.
    if (file.wmClass.size() > text.size())
        abort();
    if (file.wmClass.find('\n') != std::string::npos && text.find("\\n") == std::string::npos)
        abort();

    // The class found is the entry's own id or nothing.
    DSEindex index;
    index.entries.push_back({ "org.example.App", file.wmClass });
    std::string id = DSEidForClass(index, text, "");
    if (!id.empty() && id != "org.example.App")
        abort();
    if (!file.wmClass.empty() && text == file.wmClass && id != "org.example.App")
        abort();

    std::string instance, windowClass;
    FRTsplitClass(text, &instance, &windowClass);
    if (instance.find('\0') != std::string::npos || windowClass.find('\0') != std::string::npos)
        abort();
    if (text.compare(0, instance.size(), instance) != 0)
        abort();
    if (instance.size() + windowClass.size() > size)
        abort();
    return 0;
}
