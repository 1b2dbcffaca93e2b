// What the views need before the first of them is shown.
//
// Main thread, each once, after the application object.
#pragma once

/// Makes the views' types known.
void registerViews();

/// Makes the window's typeface known. Takes a while: it has the system look for its fonts.
void registerTypeface();
