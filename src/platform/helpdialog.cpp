#include "platform/helpdialog.h"

#include "platform/filesys.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QIcon>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace {

const QString ContentsTopic = QStringLiteral("tavrol/introduction");
constexpr int ViewerWidth = 640;
constexpr int ViewerHeight = 560;

Quolix_HelpDialog* GlobalHelp = nullptr;

} // namespace

Quolix_HelpViewer::Quolix_HelpViewer(QWidget* parent) : QWidget(parent, Qt::Window)
{
    setWindowTitle(QStringLiteral("Tavrol Help"));
    setWindowIcon(QIcon(QStringLiteral(":/tavrolgui")));
    m_browser = new QTextBrowser(this);
    m_browser->setOpenLinks(true);
    m_browser->setOpenExternalLinks(false);

    auto* back = new QPushButton(QStringLiteral("< Back"), this);
    auto* forward = new QPushButton(QStringLiteral("Forward >"), this);
    auto* contents = new QPushButton(QStringLiteral("Contents"), this);
    auto* closeButton = new QPushButton(QStringLiteral("Close"), this);
    back->setEnabled(false);
    forward->setEnabled(false);
    for (QPushButton* button : {back, forward, contents, closeButton})
        button->setAutoDefault(false);

    auto* buttons = new QHBoxLayout();
    buttons->addWidget(back);
    buttons->addWidget(forward);
    buttons->addWidget(contents);
    buttons->addStretch();
    buttons->addWidget(closeButton);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(buttons);
    layout->addWidget(m_browser);

    connect(back, &QPushButton::clicked, m_browser, &QTextBrowser::backward);
    connect(forward, &QPushButton::clicked, m_browser, &QTextBrowser::forward);
    connect(m_browser, &QTextBrowser::backwardAvailable, back, &QPushButton::setEnabled);
    connect(m_browser, &QTextBrowser::forwardAvailable, forward, &QPushButton::setEnabled);
    connect(contents, &QPushButton::clicked, this,
            [this] { ShowPage(Quolix_HelpDialog::TopicUrl(ContentsTopic)); });
    connect(closeButton, &QPushButton::clicked, this, &QWidget::close);
    connect(m_browser, &QTextBrowser::sourceChanged, this, [this] {
        setWindowTitle(QStringLiteral("Tavrol Help - ") + m_browser->documentTitle());
    });
    resize(ViewerWidth, ViewerHeight);
}

void Quolix_HelpViewer::ShowPage(const QUrl& page)
{
    m_browser->setSource(page);
    show();
    raise();
    activateWindow();
}

Quolix_HelpDialog* Quolix_HelpDialog::Global()
{
    if (!GlobalHelp) {
        GlobalHelp = new Quolix_HelpDialog();
        // The viewer is a widget: it must go while the application still exists.
        qAddPostRoutine(&Quolix_HelpDialog::DeleteGlobal);
    }
    return GlobalHelp;
}

void Quolix_HelpDialog::DeleteGlobal()
{
    delete GlobalHelp;
    GlobalHelp = nullptr;
}

Quolix_HelpDialog::~Quolix_HelpDialog()
{
    delete m_viewer.data();
}

void Quolix_HelpDialog::ConnectButton(QAbstractButton* button, const QString& topic)
{
    if (button)
        connect(button, &QAbstractButton::clicked, this, [this, topic] { ShowTopic(topic); });
}

// The viewer is never modal: it stays open beside the window that asked.
void Quolix_HelpDialog::ConnectAction(QAction* action, const QString& topic, bool)
{
    if (action)
        connect(action, &QAction::triggered, this, [this, topic] { ShowTopic(topic); });
}

void Quolix_HelpDialog::ShowTopic(const QString& topic)
{
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
        return; // no windows without a graphical application
    if (!m_viewer)
        m_viewer = new Quolix_HelpViewer(nullptr);
    m_viewer->ShowPage(TopicUrl(topic));
}

QUrl Quolix_HelpDialog::TopicUrl(const QString& topic)
{
    const QString page = topic + QStringLiteral(".html");
    if (!Quolix_FileSys::m_appHelpDirPath.isEmpty()) {
        const QFileInfo installed(QDir(Quolix_FileSys::m_appHelpDirPath).filePath(page));
        if (installed.isFile())
            return QUrl::fromLocalFile(installed.absoluteFilePath());
    }
    return QUrl(QStringLiteral("qrc:/help/") + page);
}
