#include <platform/framework/CStatusBar.h>

CStatusBar::~CStatusBar() = default;

CStatusBarCtrl::~CStatusBarCtrl() = default;
