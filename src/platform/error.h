#pragma once

#include <QString>

class QWidget;

// Warnings and questions to the user. In a run mode or on a platform without a
// screen nobody can answer, so the text goes to the standard error stream and
// the default answer is taken.
class Quolix_Error
{
public:
    // Answers as numbered here: 1 yes (or OK), 2 no, 4 cancel.
    enum Answer
    {
        AnswerNone = 0,
        AnswerYes = 1,
        AnswerNo = 2,
        AnswerCancel = 4
    };
    // Modes: 1 a warning with OK, 2 a question with Yes and No,
    // 5 a question with Yes, No and Cancel.
    static int ReportWarning(const QString& title, const QString& text, int mode,
                             int defaultAnswer);
    static void ReportError(const QString& title, const QString& text);

    // True when dialogs can be shown and answered: a GUI run mode on a real
    // screen, or on any screen once someone has said they will answer there.
    static bool CanAskUser();
    // For a user who answers on an off-screen display, such as a test.
    static void SetAnswerOffscreen(bool answer);
};
