#pragma once

namespace Tamrin::Tessera::Issue {
enum Severity { Information = 0, Warning = 1, Error = 2 };
}
