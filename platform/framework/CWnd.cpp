#include <platform/framework/CWnd.h>

CWnd::~CWnd() = default;
