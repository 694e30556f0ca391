#include "reporting/property_list_file.h"

#include <plist/plist.h>

#include <memory>
#include <optional>

#include "platform/env.h"

namespace qdx {

namespace {

struct PlistDeleter {
  void operator()(plist_t node) const {
    if (node) plist_free(node);
  }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

// A new plist node for value; nullptr for null (which a property list
// cannot hold) and for values inside it that are null.
plist_t toPlist(const Json& value) {
  switch (value.type()) {
    case Json::value_t::object: {
      plist_t dict = plist_new_dict();
      for (auto it = value.begin(); it != value.end(); ++it) {
        plist_t child = toPlist(it.value());
        if (child) plist_dict_set_item(dict, it.key().c_str(), child);
      }
      return dict;
    }
    case Json::value_t::array: {
      plist_t array = plist_new_array();
      for (const Json& element : value) {
        plist_t child = toPlist(element);
        if (child) plist_array_append_item(array, child);
      }
      return array;
    }
    case Json::value_t::string:
      return plist_new_string(value.get_ref<const std::string&>().c_str());
    case Json::value_t::boolean:
      return plist_new_bool(value.get<bool>() ? 1 : 0);
    case Json::value_t::number_integer:
      // Integers are kept as their 64-bit pattern; the reader turns the
      // pattern back into a signed value.
      return plist_new_uint(static_cast<std::uint64_t>(value.get<std::int64_t>()));
    case Json::value_t::number_unsigned:
      return plist_new_uint(value.get<std::uint64_t>());
    case Json::value_t::number_float:
      return plist_new_real(value.get<double>());
    default:
      return nullptr;
  }
}

Json fromPlist(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_DICT: {
      Json dict = Json::object();
      plist_dict_iter iter = nullptr;
      plist_dict_new_iter(node, &iter);
      if (!iter) return dict;
      for (;;) {
        char* key = nullptr;
        plist_t child = nullptr;
        plist_dict_next_item(node, iter, &key, &child);
        if (!child || !key) {
          free(key);
          break;
        }
        Json converted = fromPlist(child);
        if (!converted.is_null()) dict[key] = std::move(converted);
        free(key);
      }
      free(iter);
      return dict;
    }
    case PLIST_ARRAY: {
      Json array = Json::array();
      uint32_t size = plist_array_get_size(node);
      for (uint32_t i = 0; i < size; ++i) {
        Json converted = fromPlist(plist_array_get_item(node, i));
        if (!converted.is_null()) array.push_back(std::move(converted));
      }
      return array;
    }
    case PLIST_STRING: {
      // Read with its length: the copying getter asserts on a string with
      // an embedded zero (an "&#0;" in a damaged file).
      uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return text ? Json(std::string(text, length)) : Json();
    }
    case PLIST_BOOLEAN: {
      uint8_t flag = 0;
      plist_get_bool_val(node, &flag);
      return Json(flag != 0);
    }
    case PLIST_UINT: {
      uint64_t bits = 0;
      plist_get_uint_val(node, &bits);
      return Json(static_cast<std::int64_t>(bits));
    }
    case PLIST_REAL: {
      double real = 0;
      plist_get_real_val(node, &real);
      return Json(real);
    }
    default:
      return Json();
  }
}

}  // namespace

bool writePropertyListDictionary(const Json& dictionary, const std::string& path) {
  if (!dictionary.is_object()) return false;
  PlistPtr root(toPlist(dictionary));
  if (!root) return false;
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(root.get(), &xml, &length);
  if (!xml) return false;
  std::string text(xml, length);
  plist_to_xml_free(xml);

  return Env::Default()->writeFileAtomically(path, text);
}

Json readPropertyListDictionary(const std::string& path) {
  const std::optional<std::string> read = Env::Default()->readFile(path);
  if (!read || read->empty()) return Json();
  const std::string& text = *read;
  plist_t parsed = nullptr;
  plist_from_xml(text.data(), static_cast<uint32_t>(text.size()), &parsed);
  PlistPtr root(parsed);
  if (!root || plist_get_node_type(root.get()) != PLIST_DICT) return Json();
  return fromPlist(root.get());
}

}  // namespace qdx
