#include "ui/accessibility.h"

#include <QAbstractItemView>
#include <QAccessibleWidget>
#include <algorithm>

#include "ui/announcer.h"
#include "ui/label.h"
#include "ui/main_window.h"
#include "ui/progress_indicator.h"
#include "ui/region_picker.h"
#include "ui/selectable_label.h"

namespace tarvex {
namespace {

// The accessibility bus disconnects a program for good when a message is too large, and ends a text
// at a NUL.
QString forTheBus(const QString &text) {
  constexpr qsizetype longest = 65536;
  return text.left(longest).replace(QChar(), QChar(QChar::ReplacementCharacter));
}

// A widget with a text that is not its name. Assistive technology can read the text; it cannot edit
// or select it.
class AccessibleText : public QAccessibleWidget, public QAccessibleTextInterface {
 public:
  using QAccessibleWidget::QAccessibleWidget;

  virtual QString content() const = 0;

  void *interface_cast(QAccessible::InterfaceType type) override {
    return type == QAccessible::TextInterface ? static_cast<QAccessibleTextInterface *>(this)
                                              : QAccessibleWidget::interface_cast(type);
  }
  QString text(QAccessible::Text type) const override {
    // A label without a given name is named by its text.
    const QString given = forTheBus(QAccessibleWidget::text(type));
    return type == QAccessible::Value || (type == QAccessible::Name && given.isEmpty()) ? content()
                                                                                        : given;
  }

  QString text(int begin, int end) const override { return content().mid(begin, end - begin); }
  int characterCount() const override { return static_cast<int>(content().size()); }
  QRect characterRect(int /*offset*/) const override { return rect(); }
  int offsetAtPoint(const QPoint & /*point*/) const override { return 0; }
  QString attributes(int /*offset*/, int *begin, int *end) const override {
    *begin = 0;
    *end = characterCount();
    return {};
  }
  int cursorPosition() const override { return 0; }
  void setCursorPosition(int /*position*/) override {}
  int selectionCount() const override { return 0; }
  void selection(int /*index*/, int *begin, int *end) const override { *begin = *end = 0; }
  void addSelection(int /*begin*/, int /*end*/) override {}
  void removeSelection(int /*index*/) override {}
  void setSelection(int /*index*/, int /*begin*/, int /*end*/) override {}
  void scrollToSubstring(int /*begin*/, int /*end*/) override {}
};

class AccessibleLabel : public AccessibleText {
 public:
  explicit AccessibleLabel(Label &label)
      : AccessibleText(&label, QAccessible::StaticText), m_label(label) {}

  QString content() const override { return forTheBus(m_label.text()); }
  QRect rect() const override {
    const QRect frame = m_label.contentsRect();
    return {m_label.mapToGlobal(frame.topLeft()), frame.size()};
  }
  QAccessible::State state() const override {
    QAccessible::State state = AccessibleText::state();
    state.readOnly = true;
    return state;
  }

 private:
  const Label &m_label;
};

class AccessibleSelectableLabel final : public AccessibleLabel {
 public:
  explicit AccessibleSelectableLabel(SelectableLabel &label)
      : AccessibleLabel(label), m_label(label) {}

  QAccessible::State state() const override {
    QAccessible::State state = AccessibleLabel::state();
    state.selectableText = true;
    return state;
  }
  int cursorPosition() const override { return m_label.selection().cursor; }
  int selectionCount() const override { return m_label.selectedText().isEmpty() ? 0 : 1; }
  void selection(int /*index*/, int *begin, int *end) const override {
    const SelectableLabel::Selection selected = m_label.selection();
    *begin = selected.begin;
    *end = selected.end;
  }

 private:
  const SelectableLabel &m_label;
};

class AccessibleRegionPicker final : public AccessibleText {
 public:
  explicit AccessibleRegionPicker(RegionPicker &picker)
      : AccessibleText(&picker, QAccessible::ComboBox), m_picker(picker) {}

  QString content() const override { return forTheBus(m_picker.currentName()); }
  QAccessible::State state() const override {
    QAccessible::State state = AccessibleText::state();
    state.expandable = true;
    state.hasPopup = true;
    state.expanded = m_picker.view()->isVisible();
    state.collapsed = !state.expanded;
    return state;
  }

  int childCount() const override { return 1; }  // the list
  QAccessibleInterface *child(int index) const override {
    return index == 0 ? QAccessible::queryAccessibleInterface(m_picker.view()) : nullptr;
  }
  int indexOfChild(const QAccessibleInterface *child) const override {
    return child->object() == m_picker.view() ? 0 : -1;
  }

  QStringList actionNames() const override { return {showMenuAction(), pressAction()}; }
  void doAction(const QString &name) override {
    if (m_picker.isEnabled() && actionNames().contains(name)) {
      m_picker.view()->isVisible() ? m_picker.hidePopup() : m_picker.showPopup();
    }
  }

 private:
  RegionPicker &m_picker;
};

class AccessibleProgress final : public QAccessibleWidget, public QAccessibleValueInterface {
 public:
  explicit AccessibleProgress(ProgressIndicator &progress)
      : QAccessibleWidget(&progress, QAccessible::ProgressBar), m_progress(progress) {}

  void *interface_cast(QAccessible::InterfaceType type) override {
    return type == QAccessible::ValueInterface ? static_cast<QAccessibleValueInterface *>(this)
                                               : QAccessibleWidget::interface_cast(type);
  }
  QAccessible::State state() const override {
    QAccessible::State state = QAccessibleWidget::state();
    state.busy = m_progress.isIndeterminate();
    return state;
  }
  QVariant currentValue() const override { return m_progress.value(); }
  void setCurrentValue(const QVariant & /*value*/) override {}
  QVariant minimumValue() const override { return ProgressIndicator::minimum; }
  QVariant maximumValue() const override { return ProgressIndicator::maximum; }
  QVariant minimumStepSize() const override { return 0.0; }

 private:
  const ProgressIndicator &m_progress;
};

class AccessibleNotice final : public QAccessibleObject {
 public:
  explicit AccessibleNotice(Notice &notice) : QAccessibleObject(&notice), m_notice(notice) {}

  QAccessible::Role role() const override { return QAccessible::Notification; }
  QAccessible::State state() const override { return {}; }  // visible, though it has no place
  QString text(QAccessible::Text type) const override {
    return type == QAccessible::Name ? forTheBus(m_notice.words()) : QString();
  }
  QAccessibleInterface *parent() const override {
    return QAccessible::queryAccessibleInterface(&m_notice.window());
  }
  int childCount() const override { return 0; }
  QAccessibleInterface *child(int /*index*/) const override { return nullptr; }
  int indexOfChild(const QAccessibleInterface * /*child*/) const override { return -1; }

 private:
  const Notice &m_notice;
};

// Derived classes come before their bases.
QAccessibleInterface *interfaceOf(const QString & /*className*/, QObject *object) {
  if (auto *const label = dynamic_cast<SelectableLabel *>(object)) {
    return new AccessibleSelectableLabel(*label);
  }
  if (auto *const label = dynamic_cast<Label *>(object)) {
    return new AccessibleLabel(*label);
  }
  if (auto *const picker = dynamic_cast<RegionPicker *>(object)) {
    return new AccessibleRegionPicker(*picker);
  }
  if (auto *const progress = dynamic_cast<ProgressIndicator *>(object)) {
    return new AccessibleProgress(*progress);
  }
  if (auto *const window = dynamic_cast<MainWindow *>(object)) {
    return new QAccessibleWidget(window, QAccessible::Window);  // AT-SPI's "frame" has a title
  }
  if (auto *const notice = dynamic_cast<Notice *>(object)) {
    return new AccessibleNotice(*notice);
  }
  return nullptr;  // Qt's own
}

}  // namespace

void announceText(Label &label, const QString &before) {
  if (!QAccessible::isActive()) {
    return;
  }
  QAccessibleTextUpdateEvent change(&label, 0, forTheBus(before), forTheBus(label.text()));
  QAccessible::updateAccessibility(&change);
  if (label.accessibleName().isEmpty()) {  // then its text is its name
    QAccessibleEvent named(&label, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&named);
  }
}

void announceSelection(SelectableLabel &label) {
  if (!QAccessible::isActive()) {
    return;
  }
  const SelectableLabel::Selection selected = label.selection();
  QAccessibleTextSelectionEvent change(&label, selected.begin, selected.end);
  QAccessible::updateAccessibility(&change);
  QAccessibleTextCursorEvent moved(&label, selected.cursor);
  QAccessible::updateAccessibility(&moved);
}

void installAccessibility() {
  QAccessible::installFactory(interfaceOf);
}

}  // namespace tarvex
