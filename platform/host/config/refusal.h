// Why a configuration, or a change of one, is refused.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace host {

/// Has the parts that an <rpc-error> tells one by one (RFC 6241, 4.3). what() is the whole reason
/// for people, and may name the place as well.
class Refusal : public std::runtime_error {
 public:
  /// `tag` is one of RFC 6241, appendix A; `path` is as libyang has data paths, empty for none;
  /// `app_tag` one of RFC 7950, section 15, or the model's own, empty for none.
  Refusal(std::string tag, std::string path, const std::string& message, std::string app_tag = "")
      : std::runtime_error(message),
        tag_(std::move(tag)),
        path_(std::move(path)),
        app_tag_(std::move(app_tag)) {}

  const std::string& Tag() const { return tag_; }
  const std::string& Path() const { return path_; }
  const std::string& AppTag() const { return app_tag_; }

 protected:
  std::string tag_;
  std::string path_;
  std::string app_tag_;
};

/// The tag of a configuration that the models, a hook or the daemon itself do not take, where
/// there is no better one.
constexpr char kNotTaken[] = "operation-failed";

}  // namespace host
