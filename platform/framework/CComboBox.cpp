#include <platform/framework/CComboBox.h>

CComboBox::~CComboBox() = default;
