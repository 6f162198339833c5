// The only window: its controls, their looks and their places. Main thread.
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

// Answers the window's questions, always on the main thread.
class WindowDelegate {
 public:
  virtual ~WindowDelegate() = default;
  // The player has closed the window. False: it stays, or the delegate has hidden it.
  virtual bool windowShouldClose() = 0;
};

// The controls that the controller owns and changes. The window becomes their parent, and gives
// them their fonts, colours and places. Each must live until the window is destroyed, or be
// destroyed before it.
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

  // Raises the shown or minimised window and gives it the keyboard, with the tokens of another
  // start.
  void comeForward(const StartupTokens &tokens);

  // Call it when the status and the line below it show a failure. Screen readers then say both.
  void linesTellOfFailure();

  // Hides the window. On desktops with a place for status icons, an icon offers the menu from now
  // on.
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

  std::unique_ptr<TitleBar> m_titleBar;  // null when the desktop draws one
  BackdropView m_backdrop{this};
  QWidget m_column{&m_backdrop};  // holds the controls
  Label m_title{QStringLiteral("Tarvex")};
  Label m_subtitle{QStringLiteral("CHOOSE YOUR ADVENTURE")};
  Label m_regionCaption{QStringLiteral("Region")};
  PerControl<QWidget *> m_controls;
  std::unique_ptr<QSystemTrayIcon> m_statusIcon;  // while the window is hidden
  QPointer<QWidget> m_focusToReturn;              // a control that gets the focus when enabled
  std::optional<QPoint> m_grip;                   // the point by which the pointer drags the window
  Announcer m_announcer;
  TurnEnd m_turnEnd;  // announces changes, and gives the focus back
  PlayButton &m_playButton;
  MainMenu &m_mainMenu;
  WindowDelegate &m_delegate;
};

}  // namespace tarvex
