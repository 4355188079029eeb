#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "jsonlib/value.h"

namespace korven::jsonlib {

/// What an array or an object holds.
struct Value::Node {
  using Members = std::map<std::string, Value, std::less<>>;
  using Member = Members::value_type;

  Value& Insert(const std::string& key) {
    const auto [member, isNew] = members.try_emplace(key);
    if (isNew) order.push_back(&*member);
    return member->second;
  }

  std::vector<Value> elements;
  Members members;
  std::vector<const Member*> order;  ///< of the members, as they were first set
};

}  // namespace korven::jsonlib
