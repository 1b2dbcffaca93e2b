// What the views need before the first of them is loaded.
#pragma once

/// Makes the views' types and the window's typeface known. Main thread, once, after the application object.
void registerViews();
