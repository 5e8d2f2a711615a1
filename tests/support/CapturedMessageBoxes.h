#pragma once

#include <platform/system/message_box.h>

#include <string>
#include <vector>

namespace tests {

/// Records the message boxes that would be shown while it lives, and answers each with `answer`.
class CapturedMessageBoxes : public platform::MessageBoxHandler {
public:
    struct Box {
        std::wstring text;
        std::wstring title;
        UINT style = 0;

        bool operator==(const Box&) const = default;
    };

    CapturedMessageBoxes() = default;
    CapturedMessageBoxes(const CapturedMessageBoxes&) = delete;
    CapturedMessageBoxes& operator=(const CapturedMessageBoxes&) = delete;
    ~CapturedMessageBoxes() override { platform::SetMessageBoxHandler(_before); }

    int Show(const std::wstring& text, const std::wstring& title, UINT style) override {
        boxes.push_back({text, title, style});
        return answer;
    }

    std::vector<Box> boxes;
    int answer = IDOK;

private:
    platform::MessageBoxHandler* _before = platform::SetMessageBoxHandler(this);
};

}  // namespace tests
