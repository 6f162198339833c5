// The one window: its controls, how they look and where they stand.
#pragma once

#include <QPointer>
#include <QWidget>
#include <memory>
#include <optional>

#include "platform/turn_end.h"
#include "ui/announcer.h"
#include "ui/backdrop_view.h"
#include "ui/label.h"
#include "ui/layout.h"
#include "ui/title_bar.h"

class QSystemTrayIcon;

namespace tarvex {

class LogButton;
class MainMenu;
class PlayButton;
class ProgressIndicator;
class RegionPicker;
class SelectableLabel;
struct StartupTokens;

// What the window tells and asks its delegate, always on the main thread.
class WindowDelegate {
 public:
  virtual ~WindowDelegate() = default;
  virtual bool windowShouldClose() = 0;  // false: the window stays, or was hidden instead
};

// The controls that come to life outside of the window and keep changing. The window dresses and
// places them; all must outlive it or be gone before it.
struct WindowControls {
  RegionPicker &regionPicker;
  Label &status;
  Label &version;
  ProgressIndicator &progress;
  PlayButton &playButton;
  LogButton &logButton;
  SelectableLabel &footer;
};

class MainWindow : public QWidget {
 public:
  // The menu and the delegate must outlive the window.
  MainWindow(const WindowControls &controls, MainMenu &mainMenu, WindowDelegate &delegate);
  ~MainWindow() override;

  // Shows the window in the middle of the screen and gives it the keyboard.
  void makeKeyAndOrderFront();

  // While the window is shown, also minimised: to where the player sees it, with the keyboard.
  void comeForward(const StartupTokens &tokens);

  // The status and the line below it tell of a failure now. Screen readers say both.
  void linesTellOfFailure();

  // Hides the window. The menu then stays within reach through a status icon, on desktops that have
  // a place for one.
  void orderOut();

 protected:
  void closeEvent(QCloseEvent *event) override;
  void contextMenuEvent(QContextMenuEvent *event) override;
  bool event(QEvent *event) override;
  bool eventFilter(QObject *watched, QEvent *event) override;
  bool focusNextPrevChild(bool next) override;
  void keyPressEvent(QKeyEvent *event) override;
  void mouseMoveEvent(QMouseEvent *event) override;
  void mousePressEvent(QMouseEvent *event) override;
  void mouseReleaseEvent(QMouseEvent *event) override;
  void resizeEvent(QResizeEvent *event) override;

 private:
  void placeControls();
  void giveFocusBack();
  void openContextMenu();

  std::unique_ptr<TitleBar> m_titleBar;  // where the desktop draws none
  BackdropView m_backdrop{this};
  QWidget m_column{&m_backdrop};  // of the controls
  Label m_title{QStringLiteral("Tarvex")};
  Label m_subtitle{QStringLiteral("CHOOSE YOUR ADVENTURE")};
  Label m_regionCaption{QStringLiteral("Region")};
  PerControl<QWidget *> m_controls;
  std::unique_ptr<QSystemTrayIcon> m_statusIcon;  // while the window is hidden
  QPointer<QWidget> m_focusToReturn;              // to a control that lost it
  std::optional<QPoint> m_grip;                   // where the pointer holds it by its background
  Announcer m_announcer;
  TurnEnd m_turnEnd;  // announces what has changed, and settles the focus
  PlayButton &m_playButton;
  MainMenu &m_mainMenu;
  WindowDelegate &m_delegate;
};

}  // namespace tarvex
