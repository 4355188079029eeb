// What PROJ alone costs a program that asks for one system, to compare with.
#include <proj.h>

int main() {
  PJ_CONTEXT* const context = ::proj_context_create();
  return ::proj_create_from_database(context, "EPSG", "4326", PJ_CATEGORY_CRS, 0, nullptr) ? 0 : 1;
}
