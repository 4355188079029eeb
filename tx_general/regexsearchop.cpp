#include <boost/regex.hpp>

#include "support.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kRegExSearchOp{
    .name = L"RegularExpressionSearch",
    .displayName = L"Regular Expression Search",
    .category = L"String",
    .icon = L"text_binary.ico",
    .description = L"Searches within a string for a regular expression match.",
};

class RegExSearchOp : public Described<kRegExSearchOp> {
 public:
  void DeclarePorts() override {
    CreatePort(L"StringIn", StringData::DefaultTypeName(), PortType::Input);
    CreatePort(L"RegEx", StringData::DefaultTypeName(), PortType::Input);
    CreatePort(L"StringOut", StringData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    const auto text = ReadPort<std::wstring>(*this, L"StringIn");
    const boost::wregex expression(ReadPort<std::wstring>(*this, L"RegEx"));
    boost::wsmatch match;
    if (boost::regex_search(text, match, expression)) {
      WritePort(*this, L"StringOut", match.str(0));
    } else {
      RequirePort(*this, L"StringOut")->SetData(nullptr);
    }
  }
};

TX_GENERAL_FACTORY(RegExSearchOp)

}  // namespace korven::tx_general
