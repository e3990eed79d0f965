#include "server/jobtypeselection.h"

#include <QApplication>
#include <QGuiApplication>
#include <QInputDialog>

const QString Tavrol_JobTypeSelection::Title = QStringLiteral("Submit Job, Select Job Type");
const QString Tavrol_JobTypeSelection::NoneItem = QStringLiteral("None");

namespace {

const QString ClosingText =
    QStringLiteral("\n\nPlease select a Job Type for this input file or select None to skip this "
                   "input file.\n");

} // namespace

QString Tavrol_JobTypeSelection::AttemptedText(const QString& inputFile)
{
    return QStringLiteral("Auto determination of Job Type was attempted but an appropriate Job "
                          "Type for the\nfollowing input file cannot be determined from its "
                          "extension:\n\n") +
           inputFile + ClosingText;
}

QString Tavrol_JobTypeSelection::RequestedText(const QString& inputFile)
{
    return QStringLiteral("Auto determination of Job Type was requested but an appropriate Job "
                          "Type for the\nfollowing input file cannot be determined from its "
                          "extension:\n\n") +
           inputFile + ClosingText;
}

bool Tavrol_JobTypeSelection::CanAsk()
{
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
        return false;
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

QString Tavrol_JobTypeSelection::Ask(const QString& text, const QStringList& jobTypeNames)
{
    if (!CanAsk())
        return QString();
    QInputDialog dialog(nullptr);
    dialog.setInputMode(QInputDialog::TextInput);
    dialog.setOption(QInputDialog::UseListViewForComboBoxItems, true);
    dialog.setWindowTitle(Title);
    dialog.setLabelText(text);
    dialog.setComboBoxItems(QStringList{NoneItem} + jobTypeNames);
    dialog.setComboBoxEditable(false);
    dialog.setModal(true);
    if (dialog.exec() != QDialog::Accepted)
        return QString();
    const QString answer = dialog.textValue();
    return answer == NoneItem ? QString() : answer;
}
