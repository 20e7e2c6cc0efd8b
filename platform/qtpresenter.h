// The program's presenter: shows the alerts and questions as Qt dialogs built from the resource
// file's layouts, and the file chooser as the desktop's file dialog.
#ifndef VQX_PLATFORM_QTPRESENTER_H
#define VQX_PLATFORM_QTPRESENTER_H

#include "platform/presenter.h"

class QtPresenter : public Presenter {
public:
    int alert(int alertId, const std::string &param0) override;
    int promptForName(const std::string &prompt, std::string &name, int maxLen) override;
    int question(int dialogId, const std::string &text, int *checkbox) override;
    bool chooseFile(const std::vector<std::string> &filters, std::string &path) override;
    bool chooseFilteredFile(
        const std::vector<std::string> &filters, std::string &path, int (*accept)(const char *path)) override;
};

#endif
