#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QWidget>

class QAbstractButton;
class QAction;
class QPushButton;
class QTextBrowser;

// The help viewer's window: a page browser with Back, Forward, Contents and
// Close. Links between pages are followed inside it.
class Quolix_HelpViewer : public QWidget
{
    Q_OBJECT

public:
    explicit Quolix_HelpViewer(QWidget* parent = nullptr);

    void ShowPage(const QUrl& page);
    QTextBrowser* Browser() const { return m_browser; }

private:
    QTextBrowser* m_browser = nullptr;
};

// Help pages by topic, such as "tavrol/introduction". A page is looked for
// first as <topic>.html under the help directory of the installation, then
// among the pages built into the program. One viewer serves the whole
// process and is made when help is first asked for.
class Quolix_HelpDialog : public QObject
{
    Q_OBJECT

public:
    static Quolix_HelpDialog* Global();

    // Clicking the button, or triggering the action, shows the topic.
    void ConnectButton(QAbstractButton* button, const QString& topic);
    void ConnectAction(QAction* action, const QString& topic, bool modal);

    void ShowTopic(const QString& topic);
    static QUrl TopicUrl(const QString& topic);

    // Null until a topic has been shown.
    Quolix_HelpViewer* Viewer() const { return m_viewer; }

private:
    Quolix_HelpDialog() = default;
    ~Quolix_HelpDialog() override;
    static void DeleteGlobal();

    QPointer<Quolix_HelpViewer> m_viewer;
};
