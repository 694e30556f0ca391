#include "common/json_parse.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qdx {
namespace {

using Members = Json::object_t::Container;  // the object's member vector

// Objects with up to this many members find a repeated key by a linear
// search; larger ones build a hash index once and keep it up to date.
constexpr std::size_t kLinearSearchLimit = 16;

// Builds the value from the parser's events, as nlohmann's own DOM builder
// does, except for how object members are added.
class LinearDomBuilder {
 public:
  explicit LinearDomBuilder(Json& root) : root_(root) {}

  bool null() { return scalar(Json(nullptr)); }
  bool boolean(bool value) { return scalar(Json(value)); }
  bool number_integer(Json::number_integer_t value) { return scalar(Json(value)); }
  bool number_unsigned(Json::number_unsigned_t value) { return scalar(Json(value)); }
  bool number_float(Json::number_float_t value, const std::string&) {
    return scalar(Json(value));
  }
  bool string(Json::string_t& value) { return scalar(Json(std::move(value))); }
  bool binary(Json::binary_t& value) { return scalar(Json::binary(std::move(value))); }

  bool start_object(std::size_t) {
    Json* object = place(Json(Json::value_t::object));
    open_.push_back(Open{object, {}});
    return true;
  }
  bool key(Json::string_t& name) {
    Open& open = open_.back();
    Members& members = open.value->get_ref<Json::object_t&>();
    std::size_t at = members.size();
    if (members.size() < kLinearSearchLimit && open.index.empty()) {
      for (std::size_t i = 0; i < members.size(); ++i) {
        if (members[i].first == name) {
          at = i;
          break;
        }
      }
    } else {
      if (open.index.empty()) {
        for (std::size_t i = 0; i < members.size(); ++i) open.index.emplace(members[i].first, i);
      }
      auto [found, added] = open.index.emplace(name, members.size());
      at = found->second;
    }
    if (at == members.size()) members.emplace_back(std::move(name), nullptr);
    // A repeated key keeps its place; its new value replaces the old one.
    slot_ = &members[at].second;
    return true;
  }
  bool end_object() {
    open_.pop_back();
    return true;
  }

  bool start_array(std::size_t) {
    Json* array = place(Json(Json::value_t::array));
    open_.push_back(Open{array, {}});
    return true;
  }
  bool end_array() {
    open_.pop_back();
    return true;
  }

  bool parse_error(std::size_t, const std::string&, const std::exception& failure) {
    error_ = failure.what();
    return false;
  }

  const std::string& error() const { return error_; }

 private:
  struct Open {
    Json* value;  // stays put: its parent is not changed while it is open
    std::unordered_map<std::string, std::size_t> index;  // key to member position
  };

  // Places value where the text puts it: the root, the member whose key
  // came last, or the end of the open array.
  Json* place(Json&& value) {
    if (open_.empty()) {
      root_ = std::move(value);
      return &root_;
    }
    Json& parent = *open_.back().value;
    if (parent.is_array()) {
      Json::array_t& items = parent.get_ref<Json::array_t&>();
      items.push_back(std::move(value));
      return &items.back();
    }
    *slot_ = std::move(value);
    return slot_;
  }
  bool scalar(Json&& value) {
    place(std::move(value));
    return true;
  }

  Json& root_;
  std::vector<Open> open_;
  Json* slot_ = nullptr;
  std::string error_;
};

}  // namespace

Json parseJson(std::string_view text, std::string* error) {
  Json value;
  LinearDomBuilder builder(value);
  bool parsed = false;
  try {
    parsed = Json::sax_parse(text, &builder);
  } catch (const std::exception& failure) {
    // Out of memory, or anything else: the text counts as unreadable.
    if (error) *error = failure.what();
    return Json(Json::value_t::discarded);
  } catch (...) {
    if (error) *error = "JSON parse failed";
    return Json(Json::value_t::discarded);
  }
  if (!parsed) {
    if (error) *error = builder.error();
    return Json(Json::value_t::discarded);
  }
  return value;
}

}  // namespace qdx
