// What the first question about coordinate reference systems costs a program: "units" asks for names of units, "crs"
// for one system.
#include <string>

#include "kprj/kprj.h"
#include "referencing/authority.h"

int main(int count, char** words) {
  using coordinateReferencing::ReferencingFactoryFinder;
  if (count > 1 && std::string(words[1]) == "units") return kprj_GetUnitNames(14).empty() ? 1 : 0;
  return ReferencingFactoryFinder::getCRSAuthorityFactory(L"EPSG")->tryCreateCoordinateReferenceSystem(L"4326") ? 0 : 1;
}
