// A plugin for the toolkit on Wayland, in place of the one that draws with OpenGL. Where the
// compositor leaves title bars to the programs, the toolkit draws them only if it has such a
// plugin, although it paints them in memory. The usual one brings the machine's graphics drivers
// into the process: a quarter of a second at the start, and libraries that may need newer ones than
// a packaged launcher carries.
#include <QObject>
#include <QStringList>

#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
#error "Compare the declarations below with those of this version."
#endif

class QPlatformOpenGLContext;
class QSurfaceFormat;
class QWindow;

// As in the library. Debian has no package with these headers.
namespace QtWaylandClient {

class QWaylandDisplay;
class QWaylandWindow;

class QWaylandClientBufferIntegration {
 public:
  QWaylandClientBufferIntegration();
  virtual ~QWaylandClientBufferIntegration();
  virtual void initialize(QWaylandDisplay *display) = 0;
  virtual bool isValid() const { return true; }
  virtual bool supportsThreadedOpenGL() const { return false; }
  virtual bool supportsWindowDecoration() const { return false; }
  virtual QWaylandWindow *createEglWindow(QWindow *window) = 0;
  virtual QPlatformOpenGLContext *createPlatformOpenGLContext(
      const QSurfaceFormat &format, QPlatformOpenGLContext *shared) const = 0;
  virtual void *nativeResource(int /*resource*/) { return nullptr; }
  virtual void *nativeResourceForContext(int /*resource*/, QPlatformOpenGLContext * /*context*/) {
    return nullptr;
  }
};

class QWaylandClientBufferIntegrationPlugin : public QObject {
 public:
  static const QMetaObject staticMetaObject;
  const QMetaObject *metaObject() const override;
  void *qt_metacast(const char *name) override;
  int qt_metacall(QMetaObject::Call call, int index, void **arguments) override;
  explicit QWaylandClientBufferIntegrationPlugin(QObject *parent = nullptr);
  ~QWaylandClientBufferIntegrationPlugin() override;
  virtual QWaylandClientBufferIntegration *create(const QString &key,
                                                  const QStringList &parameters) = 0;
};

}  // namespace QtWaylandClient

namespace tarvex {

class WithoutGl : public QtWaylandClient::QWaylandClientBufferIntegration {
 public:
  void initialize(QtWaylandClient::QWaylandDisplay * /*display*/) override {}
  bool supportsWindowDecoration() const override { return true; }
  QtWaylandClient::QWaylandWindow *createEglWindow(QWindow * /*window*/) override {
    return nullptr;
  }
  QPlatformOpenGLContext *createPlatformOpenGLContext(
      const QSurfaceFormat & /*format*/, QPlatformOpenGLContext * /*shared*/) const override {
    return nullptr;
  }
};

class WithoutGlPlugin : public QtWaylandClient::QWaylandClientBufferIntegrationPlugin {
  Q_OBJECT
  Q_PLUGIN_METADATA(
      IID "org.qt-project.Qt.WaylandClient.QWaylandClientBufferIntegrationFactoryInterface.5.3" FILE
          "wayland_without_gl.json")

 public:
  QtWaylandClient::QWaylandClientBufferIntegration *create(
      const QString & /*key*/, const QStringList & /*parameters*/) override {
    return new WithoutGl;
  }
};

}  // namespace tarvex

#include "wayland_without_gl.moc"
