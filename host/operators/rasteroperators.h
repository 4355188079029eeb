#pragma once

#include "txgeospatiallib/raster.h"
#include "txlib/operator.h"
#include "txlib/portaccess.h"

namespace Tamrin::TesseraGeospatial {

inline constexpr Tessera::OperatorSheet kRasterFileInput{
    .name = L"RasterFileInput",
    .displayName = L"Raster File Input",
    .category = L"Input|Filename",
    .colorCategory = L"Input_Output",
    .description = L"Opens a file as a raster. What it holds is read where it is needed.",
    .keywords = L"Raster|Image|Scene|Band",
};

class RasterFileInput : public Tessera::Described<kRasterFileInput> {
 public:
  void DeclarePorts() override;

 protected:
  void OnExecute() override;
};

inline constexpr Tessera::OperatorSheet kRasterFileOutput{
    .name = L"RasterFileOutput",
    .displayName = L"Raster File Output",
    .category = L"Output",
    .colorCategory = L"Input_Output",
    .description = L"Writes a raster to a file, in any format that can be written.",
    .keywords = L"Raster|Image|Scene|Band|Format",
};

class RasterFileOutput : public Tessera::Described<kRasterFileOutput> {
 public:
  void DeclarePorts() override;

 protected:
  void OnExecute() override;
};

inline constexpr Tessera::OperatorSheet kRasterInformation{
    .name = L"RasterInformation",
    .displayName = L"Raster Information",
    .category = L"General",
    .description = L"Tells what a raster's file says of it: size, bands, types, no-data values, place.",
    .keywords = L"Raster|Image|Scene|Band|Metadata",
};

class RasterInformation : public Tessera::Described<kRasterInformation> {
 public:
  void DeclarePorts() override;

 protected:
  void OnExecute() override;
};

inline constexpr Tessera::OperatorSheet kStatistics{
    .name = L"Statistics",
    .displayName = L"Statistics",
    .category = L"Analysis",
    .description =
        L"Goes once through a raster and tells of each band the least and greatest value, mean, standard "
        L"deviation and count, and on demand the covariances of the bands and their histograms.",
    .keywords = L"Raster|Covariance|Histogram|Mean|Deviation",
};

class Statistics : public Tessera::Described<kStatistics> {
 public:
  void DeclarePorts() override;

 protected:
  void OnExecute() override;
};

}  // namespace Tamrin::TesseraGeospatial
