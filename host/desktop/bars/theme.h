// Light and dark looks of the window. Main thread only.
#pragma once

namespace desktop {

void UseLightLook();
void UseDarkLook();
// Whether the desktop asks for a dark look.
bool IsDesktopDark();

}  // namespace desktop
