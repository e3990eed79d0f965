#pragma once

#include <QString>

class QProcess;
class Quolix_FileStreamViewer;

// The stream viewers that the job views open: each a window of its own with
// the main window as parent and its icon. Each returns the started viewer,
// which lives on its own from then on, or null when it could not start (the
// viewer is then gone again).
namespace Tavrol_JobViewers {

constexpr int OnceOnly = -1;
constexpr int FollowPeriodMs = 2000;

Quolix_FileStreamViewer* OpenFile(const QString& filePath, const QString& title, int periodMs);
Quolix_FileStreamViewer* OpenProcess(QProcess* process, const QString& title);
// A viewer with no source that shows the collected text of a job.
Quolix_FileStreamViewer* OpenText(const QString& title, const QString& text);

} // namespace Tavrol_JobViewers
