#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

#include "txlib/operator.h"

namespace Tamrin::Tessera {

/// Something that an operator does outside of its model when it runs.
struct Effect {
  enum class Kind { Start, Write, Delete };
  Kind kind;
  std::wstring name;    ///< of the program, file or folder; empty where only the run will tell
  std::wstring source;  ///< where the name comes from, as words within a sentence
};

/// What an operator derives from as well whose effects its ports alone don't tell.
class HasEffects {
 public:
  /// Without running anything or touching any file.
  virtual std::vector<Effect> GetEffects() = 0;
  virtual ~HasEffects() = default;
};

/// The effects of an operator as far as they are known before it runs: what it tells of itself, else the files that are
/// named on inputs whose attribute "Input" is false. Those of the operators inside a model are not among them.
std::vector<Effect> GetEffects(Operator& op);

/// The text that lies on a port, without running anything. `isKnown` becomes false where a run would bring another.
std::wstring LookAtPort(Port& port, bool& isKnown);
/// The effect on what a port names; none where it names nothing.
std::vector<Effect> GetEffectOfPort(Effect::Kind kind, Port& port);

}  // namespace Tamrin::Tessera
