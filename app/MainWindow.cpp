#include "MainWindow.h"

#include "ui_MainWindow.h"

#include "EventFilters.h"
#include "FitText.h"
#include "Logger.h"
#include "SteamWrapper.h"
#include "Visibility.h"

#include <QIcon>
#include <QMovie>

namespace {

/// One heartbeat; Steam wants its callbacks pumped some thirty times a second.
constexpr int heartbeat_ms = 33;

/// Playback speed in per cent while hidden: the movie must keep running, but each frame wakes the
/// CPU.
constexpr int hidden_speed = 1;

QIcon program_icon()
{
    QIcon icon;
    // The others are for menus, which take them from where they are installed: unpacking all of
    // them would be felt at the start.
    for (const int size : {16, 32, 64})
        icon.addFile(QStringLiteral(":/resources/icons/tarnwick-mod-uploader-%1.png").arg(size));
    return icon;
}

} // namespace

MainWindow* MainWindow::s_Window = nullptr;

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent), ui(new Ui_MainWindow)
{
    s_Window = this;
    Q_INIT_RESOURCE(resources); // the linker drops them from the library unless they are named
    ui->setupUi(this);
    setWindowIcon(program_icon());

    if (Logger::Initialize(ui->OutputLog) && SteamWrapper::GetInstance()->Initialize()) {
        Logger::LogMessage(tr("Please choose a mod to upload..."), Logger::Info);
    } else {
        enable_all_ui(false);
        setAcceptDrops(false); // a mod must not get in that way either
        // Standard error has it too, but is not seen when the program was started from a menu.
        ui->OutputLog->setToolTip(SteamWrapper::GetInstance()->StartProblem());
    }

    setWindowFlags(Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
    // The flag only works on Windows.
    setFixedSize(size());

    timer.setInterval(heartbeat_ms);
    timer.start();
    connect(&timer, SIGNAL(timeout()), this, SLOT(update()));

    start_loading_movie();

    QPalette preview_colours = ui->ModPreview->palette();
    preview_colours.setBrush(QPalette::Window, Qt::white);
    ui->ModPreview->setPalette(preview_colours);

    // The style sheet fixes the background, so the text colour must not follow the theme.
    QPalette button_colours = ui->ChangePreview->palette();
    button_colours.setBrush(QPalette::Active, QPalette::ButtonText, Qt::black);
    button_colours.setBrush(QPalette::Inactive, QPalette::ButtonText, Qt::black);
    button_colours.setBrush(QPalette::Disabled, QPalette::ButtonText, Qt::darkGray);
    ui->ChangePreview->setPalette(button_colours);

    // A mod's name and version are shown as they are, never as markup.
    ui->ModName->setTextFormat(Qt::PlainText);
    ui->ModVersion->setTextFormat(Qt::PlainText);
    auto* const plain_tool_tips = new PlainToolTips(this);
    ui->ModName->installEventFilter(plain_tool_tips);
    ui->ModVersion->installEventFilter(plain_tool_tips);
    ui->ModDescription->installEventFilter(plain_tool_tips);
    ui->OutputLog->installEventFilter(plain_tool_tips);
    ui->ModVisibility->installEventFilter(new WheelBlocker(this));

    fill_tag_list();
    fill_visibility_box();
    FitTexts(*ui);

    enable_uploading_ui(false);
    enable_information_ui(false);
    enable_viewing_ui(false);
}

MainWindow::~MainWindow()
{
    Finish(); // while every widget still exists

    SteamWrapper::GetInstance()->Shutdown();
    SteamWrapper::DestroyInstance();
    Logger::Shutdown();
    delete ui;
    delete loading_movie;
}

MainWindow* MainWindow::GetWindow()
{
    return s_Window;
}

void MainWindow::Finish()
{
    ui->ModDescription->clearFocus(); // upon which the editor saves
    SteamWrapper::GetInstance()->RestoreDisableMarker();
}

ModParser::ModDescriptor& MainWindow::GetModDescriptor()
{
    return mod_descriptor;
}

void MainWindow::start_loading_movie()
{
    loading_movie = new QMovie(QStringLiteral(":/resources/images/loading.gif"));
    loading_movie->setScaledSize(ui->ModPreview->size() / 2);
    loading_movie->start();
    loading_movie->setSpeed(hidden_speed);
}

void MainWindow::show_loading_movie()
{
    ui->ModPreview->setScaledContents(false);
    ui->ModPreview->setMovie(loading_movie);
    loading_movie->setSpeed(100);
    loading_movie->jumpToNextFrame(); // the current frame would stay for seconds
}

void MainWindow::show_preview(const QPixmap& preview)
{
    ui->ModPreview->setPixmap(preview);
    loading_movie->setSpeed(hidden_speed);
}

void MainWindow::fill_tag_list()
{
    // These are also the names of the tags on the Workshop.
    const QString tags[] = {
        tr("Lua"),           tr("Items"),   tr("Active Items"),      tr("Trinkets"),  tr("Pills"),
        tr("Cards"),         tr("Pickups"), tr("Player Characters"), tr("Familiars"), tr("Babies"),
        tr("Rooms"),         tr("Floors"),  tr("Enemies"),           tr("Bosses"),    tr("Hazards"),
        tr("Challenges"),    tr("Tweaks"),  tr("Removals"),          tr("Graphics"),  tr("Shaders"),
        tr("Sound Effects"), tr("Music"),
    };
    for (const QString& tag : tags) {
        auto* item = new QListWidgetItem(tag, ui->ModTags);
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(Qt::Unchecked);
    }
}

void MainWindow::fill_visibility_box()
{
    for (const char* const visibility : ModParser::visibilities)
        ui->ModVisibility->addItem(QLatin1String(visibility));
}

void MainWindow::update()
{
    SteamWrapper::GetInstance()->Update();
    forward_upload_progress();
    reread_changed_metadata();
}
