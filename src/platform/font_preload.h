// The font system's own start, out of the way of ours: it reads some dozens of files and looks at
// every font there is before the first letter can be drawn, which would be a third of the time to
// the window's first picture. Each of the two runs on a thread of its own and is waited for by
// nobody but the first who needs a font.
#pragma once

namespace tarvex {

void preloadFontConfiguration();  // before the application object is made
void preloadFonts();              // after it is

}  // namespace tarvex
