#pragma once

#include <QObject>

/// Shows tool tips as plain text, never as markup: an author's description could name files to be
/// opened. Long ones are wrapped.
class PlainToolTips final : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;
    bool eventFilter(QObject* watched, QEvent* event) override;
};

/// Keeps the wheel from selecting in a closed combo box: a notch in passing would be saved at once
/// and could publish a private mod. The open list is a window of its own and still scrolls.
class WheelBlocker final : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;
    bool eventFilter(QObject* watched, QEvent* event) override;
};
