#include "kcommon/kklb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kcommon/kerr.h"
#include "scratchfolder.h"

namespace {

Kklb_KernelList Read(const std::string& text) {
  KerrException error(L"test", L"Read");
  Kklb_KernelList list = kklb_ReadKernels(text, L"k", error);
  EXPECT_EQ(error.IsPending() ? error.get_What() : std::wstring(), L"");
  return list;
}

std::wstring FaultOf(const std::string& text) {
  KerrException error(L"test", L"FaultOf");
  kklb_ReadKernels(text, L"k", error);
  return error.IsPending() ? error.get_What() : L"none";
}

std::vector<double> Weights(const Kklb_Kernel& kernel) {
  std::vector<double> weights;
  const auto& layer = kernel.baseData.GetLayer(0);
  for (std::int32_t row = 0; row < layer.rows; ++row)
    for (std::int32_t column = 0; column < layer.columns; ++column)
      weights.push_back(kgda_ElementAsDouble(layer, row, column));
  return weights;
}

TEST(KernelLibrary, HoldsKernelsWithTheirFacts) {
  const auto list = Read(
      "# a library\n[ Mean ]\ndescription = a = b\nsource=me\ndivisor = 4\n1 1\n1,1 # behind\n\n"
      "[Bytes]\ntype = uint8\n1 2 255\n");
  ASSERT_EQ(list.kernels.size(), 2u);
  EXPECT_EQ(list.kernels[0].name, "Mean");
  EXPECT_EQ(list.kernels[0].description, "a = b");
  EXPECT_EQ(list.kernels[0].source, "me");
  EXPECT_EQ(list.kernels[0].divisor, 4);
  EXPECT_EQ(Weights(list.kernels[0]), (std::vector<double>{0.25, 0.25, 0.25, 0.25}));
  EXPECT_EQ(list.kernels[1].baseData.GetLayer(0).pixelType, KgdaUInt8);
  EXPECT_EQ(list.kernels[1].baseData.GetLayer(0).rows, 1);
  EXPECT_EQ(Weights(list.kernels[1]), (std::vector<double>{1, 2, 255}));
}

TEST(KernelLibrary, FaultsTellTheirPlace) {
  const struct {
    const char* text;
    const wchar_t* fault;
  } rows[] = {
      {"1 2\n", L"line 1, column 1: found \"1\", expected the name of a kernel, such as [Low Pass 3x3]."},
      {"[A\n", L"line 1, column 3: found the end of the line, expected ] behind the name of the kernel."},
      {"[A]\n1\n[A]\n", L"line 3, column 2: found \"A]\", expected a name that no other kernel has."},
      {"[A]\ndivisor = 0\n", L"line 2, column 11: found \"0\", expected a number other than 0."},
      {"[A]\nsize = 3\n", L"line 2, column 1: found \"size\", expected one of description, source, type, divisor."},
      {"[A]\n1 2\n3\n", L"line 3, column 2: found the end of the line, expected 2 weights, as on the line above."},
      {"[A]\n1 b\n", L"line 2, column 3: found \"b\", expected a number."},
      {"[A]\n", L"line 2, column 1: found the end of the file, expected the weights of the kernel \"A\"."},
      {"[A]\ntype = String\n",
       L"line 2, column 8: found \"String\", expected an element type of numbers, such as Float64."},
  };
  for (const auto& row : rows) EXPECT_EQ(FaultOf(row.text), std::wstring(L"The file \"k\", ") + row.fault);
}

TEST(KernelLibrary, KernelsAreFoundByName) {
  const auto list = Read("[Mean]\n1\n[mean]\n2\n[Other]\n3\n");
  KerrException error(L"test", L"KernelsAreFoundByName");
  EXPECT_EQ(kklb_GetKernel(&list, "mean", error), &list.kernels[1]);
  EXPECT_EQ(kklb_GetKernel(&list, "MEAN", error), &list.kernels[0]);
  EXPECT_FALSE(error.IsPending());
  EXPECT_EQ(kklb_GetKernel(&list, "Othr", error), nullptr);
  EXPECT_EQ(error.get_What(), L"The kernel library \"k\" has no kernel \"Othr\"; did you mean \"Other\"?");
}

TEST(KernelLibrary, FilesAreOpenedAndClosed) {
  const ScratchFolder folder;
  folder.Make("a.klb", "[A]\n1\n");
  KerrException error(L"test", L"FilesAreOpenedAndClosed");
  Kklb_KernelList* const list = kklb_OpenKernelLibrary((folder / "a.klb").string(), error);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->kernels.size(), 1u);
  kklb_CloseKernelLibrary(list, error);
  EXPECT_FALSE(error.IsPending());
  EXPECT_EQ(kklb_OpenKernelLibrary((folder / "missing.klb").string(), error), nullptr);
  EXPECT_THAT(error.get_What(), ::testing::HasSubstr(L"missing.klb"));
}

class DefaultLibrary : public ::testing::Test {
 protected:
  void SetUp() override {
    list_ = kklb_OpenKernelLibrary("$VANTIX_HOME/etc/default.klb", error_);
    ASSERT_NE(list_, nullptr) << ::testing::PrintToString(error_.get_What());
  }
  void TearDown() override { kklb_CloseKernelLibrary(list_, error_); }
  double Sum(const std::string& name) {
    const Kklb_Kernel* const kernel = kklb_GetKernel(list_, name, error_);
    EXPECT_NE(kernel, nullptr) << name;
    double sum = 0;
    if (kernel)
      for (const double weight : Weights(*kernel)) sum += weight;
    return sum;
  }
  KerrException error_{L"test", L"DefaultLibrary"};
  Kklb_KernelList* list_ = nullptr;
};

TEST_F(DefaultLibrary, EveryKernelSaysWhatItIs) {
  for (const Kklb_Kernel& kernel : list_->kernels) {
    EXPECT_FALSE(kernel.description.empty()) << kernel.name;
    EXPECT_FALSE(kernel.source.empty()) << kernel.name;
  }
}

TEST_F(DefaultLibrary, WeightsAddUp) {
  for (const char* size : {"3x3", "5x5", "7x7"}) {
    for (const char* kind : {"Mean ", "Gaussian ", "Low Pass ", "Sharpen "})
      EXPECT_NEAR(Sum(std::string(kind) + size), 1, 1e-12) << kind << size;
    for (const char* kind : {"High Pass ", "Edge Detect "})
      EXPECT_NEAR(Sum(std::string(kind) + size), 0, 1e-12) << kind << size;
  }
  for (const char* kind : {"Edge Detect ", "Gradient "})
    for (const char* way : {"North", "North East", "East", "South East", "South", "South West", "West", "North West"})
      EXPECT_NEAR(Sum(std::string(kind) + way), 0, 1e-12) << kind << way;
  for (const char* name :
       {"Sobel X", "Sobel Y", "Prewitt X", "Prewitt Y", "Laplacian 4", "Laplacian 8", "Laplacian 5x5"})
    EXPECT_EQ(Sum(name), 0) << name;
}

TEST_F(DefaultLibrary, PairsAreTurnedAgainstEachOther) {
  for (const std::string pair : {"Sobel ", "Prewitt "}) {
    const auto x = Weights(*kklb_GetKernel(list_, pair + "X", error_));
    const auto y = Weights(*kklb_GetKernel(list_, pair + "Y", error_));
    for (std::size_t row = 0; row < 3; ++row)
      for (std::size_t column = 0; column < 3; ++column) EXPECT_EQ(x[row * 3 + column], y[column * 3 + row]);
  }
}

}  // namespace
