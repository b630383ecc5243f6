// A text that several readers keep at the same time, one copy of it.
#pragma once

#include <memory>
#include <string>
#include <utility>

namespace tvn {

// Empty when made without a text. Copying shares the text, which never changes: whoever took a copy
// under a lock reads it without. Making one allocates; copying and destroying are a counter's cost,
// the last one frees the text.
class SharedText {
 public:
  SharedText() = default;
  explicit SharedText(std::string text)
      : text_(std::make_shared<const std::string>(std::move(text))) {}
  const std::string& get() const {
    static const std::string k_empty;
    return text_ ? *text_ : k_empty;
  }

 private:
  std::shared_ptr<const std::string> text_;
};

}  // namespace tvn
