#include "RenderLoop.h"

#include "HostLogging.h"

#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>

namespace RenderLoop {

bool isSoftwareRenderer(const QByteArray &renderer)
{
    return renderer.contains("llvmpipe") || renderer.contains("softpipe")
            || renderer.contains("Software Rasterizer");
}

void choose()
{
    if (qEnvironmentVariableIsSet("QSG_RENDER_LOOP") || !qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND")
        || QGuiApplication::platformName() == QLatin1String("offscreen"))
        return;
    // The renderer is known only from a context; a small one, made and gone
    // before the first window exists.
    QOffscreenSurface surface;
    surface.create();
    QOpenGLContext context;
    if (!context.create() || !context.makeCurrent(&surface))
        return;
    const QByteArray renderer(reinterpret_cast<const char *>(context.functions()->glGetString(GL_RENDERER)));
    context.doneCurrent();
    if (!isSoftwareRenderer(renderer))
        return;
    qputenv("QSG_RENDER_LOOP", "basic");
    qCDebug(lcHostApp, "software OpenGL (%s): the windows share one render loop", renderer.constData());
}

} // namespace RenderLoop
