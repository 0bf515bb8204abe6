#include "CallResult.h"
#include "ISteamUGC.h"
#include "MainWindow.h"
#include "ModParser.h"
#include "SteamWrapper.h"
#include "UploadDialog.h"

#include <QApplication>
#include <QDateTime>
#include <QDirIterator>
#include <QDomDocument>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QPushButton>
#include <QTextStream>

#include <algorithm>
#include <vector>

// One measurement a call, each with what it is measured against. Prints milliseconds, or
// microseconds for a tick: first the program's, then the baseline's.
//   bench stay FILE          shows the window with this mod loaded and stays
//   bench folder PATH RUNS   the folder check; against a bare QDirIterator over the same tree
//   bench load FILE RUNS     reading metadata.xml; against bytes into a QDomDocument
//   bench save FILE RUNS     writing it; against a plain file of the same bytes
//   bench tick FILE RUNS     one heartbeat with the mod loaded; against looking at the file's time
//   bench upload FILE        a whole upload; against the same calls without the program
namespace {

/// The median of the times of `run`, in milliseconds.
template<typename Function>
double median_ms(int runs, Function run)
{
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer clock;
        clock.start();
        run();
        times.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void print(double ours, double baseline)
{
    QTextStream(stdout) << ours << ' ' << baseline << '\n';
}

QByteArray content_of(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    return file.readAll();
}

ModParser::ModDescriptor load(const QString& path)
{
    ModParser::ModDescriptor mod;
    if (!ModParser::ParseMetadata(path, mod))
        qFatal("cannot load: %s", qPrintable(ModParser::GetParseMetadataResult()));
    return mod;
}

void measure_folder(const QString& path, int runs)
{
    ModParser::ModDescriptor mod;
    mod.folder_path = path;
    const double ours = median_ms(runs, [&] { ModParser::ValidateModDirectory(mod); });
    const double baseline = median_ms(runs, [&] {
        QDirIterator entries(path, QDirIterator::Subdirectories);
        while (entries.hasNext())
            entries.next();
    });
    print(ours, baseline);
}

void measure_load(const QString& path, int runs)
{
    const double ours = median_ms(runs, [&] { load(path); });
    const double baseline = median_ms(runs, [&] {
        QDomDocument document;
        document.setContent(content_of(path), true);
    });
    print(ours, baseline);
}

void measure_save(const QString& path, int runs)
{
    const ModParser::ModDescriptor mod = load(path);
    const double ours = median_ms(runs, [&] { mod.SaveMetadata(); });
    const QByteArray content = content_of(path);
    const double baseline = median_ms(runs, [&] {
        QFile file(path + QLatin1String(".plain"));
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("cannot write a file");
    });
    QFile::remove(path + QLatin1String(".plain"));
    print(ours, baseline);
}

void beat(MainWindow& window)
{
    QMetaObject::invokeMethod(&window, "update", Qt::DirectConnection);
}

void measure_tick(const QString& path, int runs)
{
    MainWindow window;
    window.process_metadata_file(path, QStringLiteral("Processing"));
    constexpr int ticks = 1000; // in a run, so that microseconds can be told apart
    const double ours = median_ms(runs, [&] {
        for (int i = 0; i < ticks; ++i)
            beat(window);
    });
    const double baseline = median_ms(runs, [&] {
        for (int i = 0; i < ticks; ++i)
            QFileInfo(path).lastModified();
    });
    print(ours * 1000 / ticks, baseline * 1000 / ticks);
}

/// The calls of an upload with nothing of the program around them.
class BareUpload
{
public:
    explicit BareUpload(const ModParser::ModDescriptor& new_mod) : mod(new_mod) {}

    void Run()
    {
        created.Set(SteamApi::Context().UGC->CreateItem(TARNWICK_STEAM_APP_ID,
                                                        k_EWorkshopFileTypeCommunity),
                    this, &BareUpload::on_created);
        while (!is_done)
            SteamApi::RunCallbacks();
    }

private:
    void on_created(CreateItemResult_t* result, bool /*io_failure*/)
    {
        ISteamUGC& ugc = *SteamApi::Context().UGC;
        const UGCUpdateHandle_t update =
            ugc.StartItemUpdate(TARNWICK_STEAM_APP_ID, result->m_nPublishedFileId);
        ugc.SetItemTitle(update, mod.name.toUtf8().constData());
        ugc.SetItemContent(update, mod.folder_path.toUtf8().constData());
        submitted.Set(ugc.SubmitItemUpdate(update, ""), this, &BareUpload::on_submitted);
    }

    void on_submitted(SubmitItemUpdateResult_t* result, bool /*io_failure*/)
    {
        if (result->m_eResult != k_EResultOK)
            qFatal("the upload failed");
        is_done = true;
    }

    const ModParser::ModDescriptor& mod;
    CCallResult<BareUpload, CreateItemResult_t> created;
    CCallResult<BareUpload, SubmitItemUpdateResult_t> submitted;
    bool is_done = false;
};

/// Beats as fast as it can: between two beats of the clock the program does nothing.
void measure_upload(const QString& path)
{
    MainWindow window;
    window.show();
    window.process_metadata_file(path, QStringLiteral("Processing"));
    const ModParser::ModDescriptor mod = window.GetModDescriptor();
    const double ours = median_ms(1, [&] {
        window.findChild<QPushButton*>(QStringLiteral("SubmitButton"))->click();
        while (window.findChild<UploadDialog*>() != nullptr)
            beat(window);
    });
    const double baseline = median_ms(1, [&] { BareUpload(mod).Run(); });
    print(ours, baseline);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    const QString task = QApplication::arguments().value(1);
    const QString path = QApplication::arguments().value(2);
    const int runs = QApplication::arguments().value(3, QStringLiteral("1")).toInt();
    if (task == QLatin1String("stay")) {
        MainWindow window;
        window.show();
        window.process_metadata_file(path, QStringLiteral("Processing"));
        return QApplication::exec();
    }
    if (task == QLatin1String("folder"))
        measure_folder(path, runs);
    else if (task == QLatin1String("load"))
        measure_load(path, runs);
    else if (task == QLatin1String("save"))
        measure_save(path, runs);
    else if (task == QLatin1String("tick"))
        measure_tick(path, runs);
    else if (task == QLatin1String("upload"))
        measure_upload(path);
    else
        qFatal("%s: unknown", qPrintable(task));
    return 0;
}
