// Shows alerts 128, 129, 134 and dialogs 131, 135, 140 from their layouts: every numbered push
// button ends the dialog with its number; Escape or the close button answers with item 2 where
// the dialog has one (Cancel, No), else item 1.
#include "platform/qtpresenter.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QFileDialog>
#include <QFileSystemModel>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QTimer>

#include "platform/dialogs.h"

#include <cstdio>
#include <cstdlib>

// Loads a dialog and wires its numbered buttons; null when the layout is missing.
static QDialog *loadDialog(const char *type, int id)
{
    QWidget *widget = DLGload(type, id, QApplication::activeWindow());
    QDialog *dialog = qobject_cast<QDialog *>(widget);
    if (!dialog) {
        delete widget;
        return nullptr;
    }
    dialog->setObjectName(QString("%1%2").arg(type).arg(id));
    dialog->setWindowModality(Qt::ApplicationModal);
    const QList<QPushButton *> buttons = dialog->findChildren<QPushButton *>();
    for (QPushButton *button : buttons) {
        int item = DLGitemNumber(button);
        if (item > 0)
            QObject::connect(button, &QPushButton::clicked, dialog, [dialog, item] { dialog->done(item); });
        // The keyboard starts on the default button, so Tab and Shift+Tab always move from there.
        if (button->isDefault())
            button->setFocus();
    }
    return dialog;
}

// Runs the dialog; a rejection (Escape, close button) becomes item 2 when there is one, else 1.
static int runDialog(QDialog *dialog)
{
    QPointer<QWidget> previous = QApplication::activeWindow();
    int result = dialog->exec();
    // Give the keyboard back to the window that had it, also where no window manager does so.
    if (previous)
        QTimer::singleShot(0, previous, [previous] {
            if (previous && !QApplication::activeModalWidget())
                previous->activateWindow();
        });
    if (result == QDialog::Rejected)
        result = DLGitem(dialog, 2) && qobject_cast<QAbstractButton *>(DLGitem(dialog, 2)) ? 2 : 1;
    delete dialog;
    return result;
}

// With VQX_TRACE_ALERTS set, every alert and question is written to standard error as it is
// shown, for the whole-program tests.
static void traceShown(int id, const std::string &text)
{
    static const bool wanted = getenv("VQX_TRACE_ALERTS") != nullptr;
    if (wanted)
        fprintf(stderr, "shown %d: %s\n", id, text.c_str());
}

int QtPresenter::alert(int alertId, const std::string &param0)
{
    traceShown(alertId, param0);
    QDialog *dialog = loadDialog("ALRT", alertId);
    if (!dialog) {
        QMessageBox::warning(QApplication::activeWindow(), "Orvenda VQX Map Editor", DLGtext(param0));
        return 1;
    }
    const QList<QLabel *> labels = dialog->findChildren<QLabel *>();
    for (QLabel *label : labels)
        if (label->text().contains("^0"))
            label->setText(label->text().replace("^0", DLGtext(param0)));
    return runDialog(dialog);
}

int QtPresenter::promptForName(const std::string &prompt, std::string &name, int maxLen)
{
    traceShown(131, prompt);
    QDialog *dialog = loadDialog("DLOG", 131);
    if (!dialog)
        return 0;
    auto *promptLabel = qobject_cast<QLabel *>(DLGitem(dialog, 3));
    auto *field = qobject_cast<QLineEdit *>(DLGitem(dialog, 4));
    if (!field) {
        delete dialog;
        return 0;
    }
    if (promptLabel)
        promptLabel->setText(DLGtext(prompt));
    field->setText(DLGtext(name));
    field->selectAll();
    field->setFocus(); // the name is typed at once
    // Whatever is typed, the field never holds more than maxLen bytes.
    QObject::connect(field, &QLineEdit::textEdited, field, [field, maxLen](const QString &text) {
        if (maxLen < 0 || (int)DLGbytes(text).size() <= maxLen)
            return;
        QString cut = text;
        while (!cut.isEmpty() && (int)DLGbytes(cut).size() > maxLen)
            cut.chop(1);
        field->setText(cut);
    });
    int result = dialog->exec();
    if (result == 1)
        name = DLGbytes(field->text());
    delete dialog;
    return result == 1 ? 1 : 0;
}

int QtPresenter::question(int dialogId, const std::string &text, int *checkbox)
{
    traceShown(dialogId, text);
    QDialog *dialog = loadDialog("DLOG", dialogId);
    if (!dialog)
        return QMessageBox::question(QApplication::activeWindow(), "Orvenda VQX Map Editor", DLGtext(text)) ==
                       QMessageBox::Yes
                   ? 1
                   : 2;
    if (auto *label = qobject_cast<QLabel *>(DLGitem(dialog, 3)))
        label->setText(DLGtext(text));
    auto *box = qobject_cast<QCheckBox *>(DLGitem(dialog, 4));
    if (box)
        box->setChecked(checkbox && *checkbox);
    int result = dialog->exec();
    if (checkbox)
        *checkbox = box && box->isChecked() ? 1 : 0;
    if (result == QDialog::Rejected)
        result = 2;
    delete dialog;
    return result;
}

bool QtPresenter::chooseFile(const std::vector<std::string> &filters, std::string &path)
{
    QStringList nameFilters;
    for (const std::string &code : filters) {
        if (code == ".app" || code == "APPL")
            nameFilters << "Applications (*.desktop *)";
        else if (code == "osas" || code == "TEXT")
            nameFilters << "Scripts (*.lua *.scpt *)";
    }
    nameFilters.removeDuplicates();
    nameFilters << "All files (*)";
    QString chosen = QFileDialog::getOpenFileName(QApplication::activeWindow(), "Choose a File", QString(),
                                                  nameFilters.join(";;"));
    if (chosen.isEmpty())
        return false;
    path = DLGbytes(chosen);
    return true;
}

namespace {
// Hides the files the caller's filter refuses; folders stay so that the user can move through them.
class AcceptedFilesOnly : public QSortFilterProxyModel {
public:
    explicit AcceptedFilesOnly(int (*test)(const char *), QObject *parent)
        : QSortFilterProxyModel(parent), accept(test)
    {
    }

protected:
    bool filterAcceptsRow(int row, const QModelIndex &parent) const override
    {
        auto *files = qobject_cast<QFileSystemModel *>(sourceModel());
        if (!files)
            return true;
        QModelIndex index = files->index(row, 0, parent);
        if (files->isDir(index))
            return true;
        return accept(DLGbytes(files->filePath(index)).c_str()) != 0;
    }

private:
    int (*accept)(const char *);
};
} // namespace

bool QtPresenter::chooseFilteredFile(
    const std::vector<std::string> &filters, std::string &path, int (*accept)(const char *))
{
    if (!accept)
        return chooseFile(filters, path);
    // The platform's own chooser cannot take a filter of this kind: Qt's chooser with a proxy does.
    QFileDialog dialog(QApplication::activeWindow(), "Choose a Script");
    dialog.setObjectName("chooseScriptFile");
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setProxyModel(new AcceptedFilesOnly(accept, &dialog));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return false;
    path = DLGbytes(dialog.selectedFiles().first());
    return true;
}
