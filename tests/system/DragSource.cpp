#include <QApplication>
#include <QDrag>
#include <QLabel>
#include <QMimeData>
#include <QMouseEvent>
#include <QUrl>

#include <cstdio>

namespace {

/// A window out of which the files of the command line can be dragged, like a folder's window. Says
/// on standard output what became of them. It has to live on for a moment: the other program fetches
/// the names after the mouse button has been let go.
class DragSource : public QLabel
{
public:
    using QLabel::QLabel;

protected:
    void mouseMoveEvent(QMouseEvent* /*event*/) override
    {
        QList<QUrl> urls;
        for (const QString& path : QCoreApplication::arguments().mid(1))
            urls << QUrl::fromLocalFile(path);
        auto* const files = new QMimeData;
        files->setUrls(urls);
        auto* const drag = new QDrag(this); // Qt deletes it when the other side has finished
        drag->setMimeData(files);
        std::puts(drag->exec(Qt::CopyAction) == Qt::CopyAction ? "taken" : "refused");
        std::fflush(stdout);
    }
};

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    DragSource window(QStringLiteral("Drag from here"));
    window.setWindowTitle(QStringLiteral("Drag Source"));
    window.resize(200, 100);
    window.show();
    return QApplication::exec();
}
