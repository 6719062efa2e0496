#pragma once

#include <QByteArray>

// How the host's windows are drawn: the choice of Qt Quick's render loop.
namespace RenderLoop {

// Under a software OpenGL rasterizer (Mesa's llvmpipe, as under Xvfb), each
// window of the threaded render loop has a context of its own, which compiles
// every shader anew and keeps its own rasterizer state: some 17 MB and tens of
// milliseconds for each window the plug-in opens. The basic loop draws every
// window with one context on the GUI thread; with no display refresh to wait
// for, it loses nothing there. Any other OpenGL keeps Qt's own choice, and so
// does a choice made in QSG_RENDER_LOOP or a scene graph backend other than
// OpenGL. Called once the application object exists, before the first window.
void choose();

// True for the renderer names of software rasterizers (GL_RENDERER).
bool isSoftwareRenderer(const QByteArray &renderer);

} // namespace RenderLoop
