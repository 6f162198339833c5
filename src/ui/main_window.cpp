#include "ui/main_window.h"

#include <QCloseEvent>
#include <QContextMenuEvent>
#include <QImageReader>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QWindow>
#include <algorithm>
#include <array>
#include <initializer_list>
#include <iterator>

#include "platform/application.h"
#include "platform/native_window.h"
#include "ui/accessibility.h"
#include "ui/focus_ring.h"
#include "ui/log_button.h"
#include "ui/main_menu.h"
#include "ui/palette.h"
#include "ui/play_button.h"
#include "ui/progress_indicator.h"
#include "ui/region_picker.h"
#include "ui/selectable_label.h"

namespace tarvex {
namespace {

// A field without a value leaves Qt's default.
struct Look {
  Control control;
  int fontSize = 0;  // device-independent pixels
  QFont::Weight weight = QFont::Normal;
  QColor colour{};
  const char *accessibleName = "";
  const char *accessibleHelp = "";
};

// The rows are in the order of Control.
const Look looks[] = {
    {Control::title, 31, QFont::DemiBold, parchment, "Tarvex"},
    {Control::subtitle, 11, QFont::Medium, gold},
    {Control::regionCaption, 13, QFont::Medium, parchment},
    {.control = Control::regionPicker,
     .accessibleName = "Region",
     .accessibleHelp = "Chooses the game environment and its compatible client"},
    {Control::status, 16, QFont::Medium, parchment, "Launcher status"},
    {Control::version, 12, QFont::Normal, muted, "Installed version"},
    {Control::progress},
    {Control::playButton, 15, QFont::DemiBold, QColor(calibrated(0.18, 0.13, 0.045))},
    {Control::logButton, 11, QFont::Medium, muted},
    {Control::footer, 10, QFont::Normal, withAlpha(muted, 0.7), "Launcher and game version"},
};
static_assert(std::size(looks) == controlCount);

void dress(QWidget &control, const Look &look) {
  if (look.fontSize > 0) {
    QFont font = control.font();
    font.setPixelSize(look.fontSize);
    font.setStyleName({});  // a style name from the desktop's font would override the weight
    font.setWeight(look.weight);
    control.setFont(font);
  }
  if (look.colour.isValid()) {
    QPalette palette = control.palette();
    palette.setColor(control.foregroundRole(), look.colour);
    control.setPalette(palette);
  }
  control.setAccessibleName(QString::fromLatin1(look.accessibleName));
  control.setAccessibleDescription(QString::fromLatin1(look.accessibleHelp));
}

// The format is given: to detect it, Qt would load all its image plugins.
QIcon applicationIcon() {
  QIcon icon;
  for (const int size : {16, 24, 32, 48, 64}) {
    QImageReader reader(QStringLiteral(":/icons/com.tarvex.launcher-%1.png").arg(size), "png");
    reader.setAutoDetectImageFormat(false);
    icon.addPixmap(QPixmap::fromImageReader(&reader));
  }
  return icon;
}

bool isReturn(const QKeyEvent &event) {
  return event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
}

constexpr int footerMargin = 24;  // device-independent pixels, on each side

}  // namespace

MainWindow::MainWindow(const WindowControls &controls, MainMenu &mainMenu, WindowDelegate &delegate)
    // Every button of a title bar except the one to maximise.
    : QWidget(nullptr, Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                           Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint |
                           Qt::WindowCloseButtonHint | Qt::MSWindowsFixedSizeDialogHint),
      m_controls(
          std::to_array<QWidget *>({&m_title, &m_subtitle, &m_regionCaption, &controls.regionPicker,
                                    &controls.status, &controls.version, &controls.progress,
                                    &controls.playButton, &controls.logButton, &controls.footer})),
      m_focusToReturn(&controls.playButton),
      m_announcer(*this, controls.status, controls.version, controls.progress),
      m_turnEnd([this] {
        m_announcer.announce();
        giveFocusBack();
      }),
      m_playButton(controls.playButton),
      m_mainMenu(mainMenu),
      m_delegate(delegate) {
  installAccessibility();
  setWindowTitle(QStringLiteral("Tarvex"));
  setFixedSize(contentSize);
  if (needsOwnTitleBar()) {
    setWindowFlag(Qt::FramelessWindowHint);
    m_titleBar = std::make_unique<TitleBar>(*this);
    setFixedHeight(contentSize.height() + TitleBar::barHeight);
  }
  addActions(mainMenu.submenu().actions());  // their shortcuts work without a menu bar
  m_column.resize(contentSize);
  m_column.installEventFilter(this);  // gets a LayoutRequest when a control wants another size

  for (Label *const label : std::initializer_list<Label *>{&m_title, &m_subtitle, &controls.status,
                                                           &controls.version, &controls.footer}) {
    label->setAlignment(Qt::AlignHCenter);
  }
  controls.version.setLines(2, Shortened::inMiddle);
  controls.footer.setLines(1, Shortened::inMiddle);
  controls.progress.hide();
  controls.logButton.hide();
  for (const Look &look : looks) {
    QWidget &control = *m_controls[static_cast<std::size_t>(look.control)];
    dress(control, look);
    control.setParent(&m_column);  // the rows' order is the stacking order
  }
  controls.regionPicker.installEventFilter(this);
  controls.playButton.installEventFilter(this);
  controls.logButton.installEventFilter(this);
  setTabOrder(&controls.regionPicker, &controls.playButton);
  setTabOrder(&controls.playButton, &controls.logButton);
  setTabOrder(&controls.logButton, &controls.footer);
  new FocusRing(&m_column);

  // Creates the native window early; show() would do it later. That takes many round trips to the
  // display, which are faster before the interpreter of the first run competes for the processor.
  setGeometry({screen()->availableGeometry().center() - rect().center(), size()});
  winId();
  dressNativeWindow(*windowHandle(), forest);
}

MainWindow::~MainWindow() = default;

void MainWindow::makeKeyAndOrderFront() {
  // Late: loading the icon would delay the start of the first run.
  setWindowIcon(applicationIcon());
  placeControls();
  show();
  raise();
  activateWindow();
  setFocus();  // otherwise Qt would focus a control, and a screen reader would say it
}

void MainWindow::comeForward(const StartupTokens &tokens) {
  setWindowState(windowState() & ~Qt::WindowMinimized);
  if (!bringToFront(*windowHandle(), tokens)) {
    hide();
    show();  // compositors put a new window in front
  }
}

void MainWindow::orderOut() {
  hide();
  if (m_statusIcon != nullptr || !mayHaveStatusArea()) {
    return;
  }
  // Created late, because finding the desktop's status area is slow.
  m_statusIcon = std::make_unique<QSystemTrayIcon>(applicationIcon());
  m_statusIcon->setContextMenu(&m_mainMenu.submenu());
  m_statusIcon->setToolTip(windowTitle());
  QCoreApplication::setApplicationName(windowTitle());  // Qt uses it as the icon's title
  connect(m_statusIcon.get(), &QSystemTrayIcon::activated, this,
          [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger) {
              m_mainMenu.submenu().popup(QCursor::pos());
            }
          });
  m_statusIcon->show();
}

// Qt also calls this when the control with the focus is disabled or hidden, and would move the
// focus to the next control. A screen reader would say that control in the middle of a run, so the
// window gets the focus meanwhile.
bool MainWindow::focusNextPrevChild(bool next) {
  QWidget *const focused = focusWidget();
  if (focused == nullptr || (focused->isEnabled() && focused->isVisible())) {
    return QWidget::focusNextPrevChild(next);
  }
  // A hidden control may never come back.
  m_focusToReturn = focused->isVisible() ? focused : &m_playButton;
  focused->clearFocus();
  return true;
}

void MainWindow::giveFocusBack() {
  if (m_focusToReturn != nullptr && (focusWidget() == nullptr || focusWidget() == this)) {
    m_focusToReturn->setFocus();  // has no effect while it is disabled
  }
}

void MainWindow::linesTellOfFailure() {
  m_announcer.failed();
  m_turnEnd.schedule();
}

bool MainWindow::event(QEvent *event) {
  if (event->type() == QEvent::WindowActivate) {
    m_turnEnd.schedule();
  }
  return QWidget::event(event);
}

void MainWindow::closeEvent(QCloseEvent *event) {
  event->setAccepted(m_delegate.windowShouldClose());
}

// There is no menu bar, so the menu opens as a context menu.
void MainWindow::contextMenuEvent(QContextMenuEvent *event) {
  m_mainMenu.submenu().popup(event->globalPos());
}

bool MainWindow::eventFilter(QObject *watched, QEvent *event) {
  if (event->type() == QEvent::LayoutRequest) {
    placeControls();
  }
  if (event->type() == QEvent::LayoutRequest || event->type() == QEvent::EnabledChange) {
    m_turnEnd.schedule();
  }
  // With the themes of some desktops, Return presses the button with the focus. Here, Return always
  // presses the primary button.
  if (event->type() == QEvent::KeyPress && isReturn(static_cast<const QKeyEvent &>(*event))) {
    event->ignore();
    return true;
  }
  return QWidget::eventFilter(watched, event);
}

void MainWindow::keyPressEvent(QKeyEvent *event) {
  // A key that is held down must trigger only one action.
  const bool isPlain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
  if (isReturn(*event) && isPlain && !event->isAutoRepeat()) {
    m_playButton.click();
    return;
  }
  if (event->key() == Qt::Key_F10 && event->modifiers() == Qt::ShiftModifier) {
    openContextMenu();
    return;
  }
  QWidget::keyPressEvent(event);
}

// Qt opens context menus by the menu key, but not by Shift+F10. The control with the focus is asked
// first: it may have its own menu.
void MainWindow::openContextMenu() {
  QWidget &target = focusWidget() != nullptr ? *focusWidget() : *this;
  const QPoint middle = target.rect().center();
  QContextMenuEvent request(QContextMenuEvent::Keyboard, middle, target.mapToGlobal(middle));
  QCoreApplication::sendEvent(&target, &request);
}

// The window can be dragged by its background. The moves after a press on a button may come here,
// too; without a grip they are ignored.
void MainWindow::mousePressEvent(QMouseEvent *event) {
  m_grip =
      event->button() == Qt::LeftButton ? std::optional(event->position().toPoint()) : std::nullopt;
}

void MainWindow::mouseMoveEvent(QMouseEvent *event) {
  if (event->buttons() != Qt::LeftButton || !m_grip) {
    return;
  }
  if (windowHandle()->startSystemMove()) {
    m_grip.reset();
  } else {  // no window manager, or one that does not support it
    move(pos() + event->globalPosition().toPoint() - mapToGlobal(*m_grip));
  }
}

void MainWindow::mouseReleaseEvent(QMouseEvent * /*event*/) {
  m_grip.reset();
}

// A tiling window manager ignores the fixed size. The column then stays in the middle.
void MainWindow::resizeEvent(QResizeEvent * /*event*/) {
  QRect content = rect();
  if (m_titleBar != nullptr) {
    m_titleBar->setGeometry(0, 0, width(), TitleBar::barHeight);
    content.setTop(TitleBar::barHeight);
  }
  m_backdrop.setGeometry(content);
  m_column.move((content.width() - contentSize.width()) / 2,
                (content.height() - contentSize.height()) / 2);
}

void MainWindow::placeControls() {
  const auto intrinsicSize = [this](Control control, std::optional<int> width) {
    const QWidget &widget = *m_controls[static_cast<std::size_t>(control)];
    QSize size = widget.sizeHint();
    if (width && widget.heightForWidth(*width) > 0) {
      size.setHeight(widget.heightForWidth(*width));
    }
    // The footer's width is free, and its text may be long.
    size.setWidth(std::min(size.width(), contentSize.width() - 2 * footerMargin));
    return size;
  };
  const PerControl<QRect> frames = layOut(intrinsicSize);
  for (std::size_t index = 0; index < controlCount; ++index) {
    m_controls[index]->setGeometry(
        frames[index].marginsAdded(m_controls[index]->contentsMargins()));
  }
}

}  // namespace tarvex
