#include "rasterscan.h"

#include <algorithm>
#include <atomic>
#include <boost/make_shared.hpp>
#include <exception>
#include <mutex>

#include "txbasiclib/concurrencyhelper.h"
#include "txlib/model.h"

namespace Tamrin::TesseraGeospatial {

namespace {

constexpr std::int64_t kWindowBytes = 512 * 1024;  ///< what is read at once, so that it stays in the second cache
constexpr std::int64_t kWorthThreads = 1 << 20;    ///< elements below which one thread is done sooner
constexpr std::int64_t kMostGroups = 64;           ///< pieces of work; their sums are kept until the end
constexpr std::int64_t kGroupBytes = 256 << 20;    ///< of the sums of all groups
constexpr std::int32_t kLeastColumns = 256;        ///< of a window, where blocks are narrower

std::int32_t RoundUp(std::int32_t value, std::int32_t unit) { return (value + unit - 1) / unit * unit; }

/// How a raster is gone through: by stripes of whole blocks, in these by columns of blocks, in these by slices of rows.
class Plan {
 public:
  Plan(const RasterFacts& facts, bool isDirect) : facts_(facts) {
    windowColumns_ = std::min(facts.blockColumns, facts.columns);
    if (!isDirect) windowColumns_ = std::min(RoundUp(kLeastColumns, windowColumns_), facts.columns);
    const auto rowBytes =
        static_cast<std::int64_t>(kgda_NumBytePerPixelFromType(facts.type) * facts.bands.size()) * windowColumns_;
    sliceRows_ = static_cast<std::int32_t>(std::clamp<std::int64_t>(kWindowBytes / rowBytes, 1, facts.rows));
    const std::int32_t blockRows = std::min(facts.blockRows, facts.rows);
    stripeRows_ = std::max(sliceRows_ / blockRows, 1) * blockRows;
    sliceRows_ = std::min(sliceRows_, stripeRows_);
    slices_ = (stripeRows_ + sliceRows_ - 1) / sliceRows_;
    columns_ = (facts.columns + windowColumns_ - 1) / windowColumns_;
    count_ = std::int64_t{(facts.rows + stripeRows_ - 1) / stripeRows_} * columns_ * slices_;
  }

  std::int64_t GetCount() const { return count_; }

  /// A window without rows where the last stripe has fewer slices.
  RasterWindow At(std::int64_t index) const {
    const auto stripe = static_cast<std::int32_t>(index / (std::int64_t{columns_} * slices_));
    const auto column = static_cast<std::int32_t>(index / slices_ % columns_);
    const auto slice = static_cast<std::int32_t>(index % slices_);
    RasterWindow window;
    window.row = stripe * stripeRows_ + slice * sliceRows_;
    window.column = column * windowColumns_;
    const std::int32_t end = std::min({window.row + sliceRows_, (stripe + 1) * stripeRows_, facts_.rows});
    window.rows = std::max(end - window.row, 0);
    window.columns = std::min(windowColumns_, facts_.columns - window.column);
    return window;
  }

 private:
  const RasterFacts& facts_;
  std::int32_t windowColumns_ = 0, sliceRows_ = 0, stripeRows_ = 0, slices_ = 0, columns_ = 0;
  std::int64_t count_ = 0;
};

/// First multiple of the factor that is not below the value.
std::int32_t NextKept(std::int32_t value, unsigned factor) {
  const auto rest = static_cast<std::uint32_t>(value) % factor;
  const std::uint64_t next = rest == 0 ? static_cast<std::uint32_t>(value)
                                       : std::uint64_t{static_cast<std::uint32_t>(value)} + (factor - rest);
  return static_cast<std::int32_t>(std::min<std::uint64_t>(next, INT32_MAX));
}

class Scan {
 public:
  Scan(const Raster& raster, const ScanOptions& options, Tessera::Operator& op)
      : raster_(raster),
        options_(options),
        op_(op),
        environment_(op.GetEnvironment()),
        facts_(raster.GetFacts()),
        first_(raster.Open()),
        plan_(*facts_, first_->IsDirect()) {
    const auto bands = static_cast<std::int64_t>(facts_->bands.size());
    const std::int64_t momentsBytes = options.products ? bands * (bands + 1) / 2 * 8 : bands * 8;
    const std::int64_t most = std::clamp<std::int64_t>(kGroupBytes / momentsBytes, 1, kMostGroups);
    groups_.assign(static_cast<std::size_t>(std::min(plan_.GetCount(), most)),
                   Moments(facts_->bands.size(), options.products));
    histogram_.assign(facts_->bands.size(), BinCounter(facts_->type != KgdaFloat32 && facts_->type != KgdaFloat64));
  }

  /// Threads that are worth their while.
  unsigned GetLanes() const {
    const std::int64_t elements =
        std::int64_t{facts_->rows} * facts_->columns * static_cast<std::int64_t>(facts_->bands.size());
    if (elements < kWorthThreads) return 1;
    return std::clamp<unsigned>(environment_->GetNumThreads(), 1, static_cast<unsigned>(groups_.size()));
  }

  /// The work of one thread, until none is left or another has failed. Never raises.
  void RunLane() {
    try {
      std::unique_ptr<RasterReader> reader;
      {
        const std::lock_guard lock(mutex_);
        reader = std::move(first_);
      }
      if (!reader) reader = raster_.Open();
      const auto sums = TileSums::Create(*facts_, options_);
      for (std::size_t group = next_++; group < groups_.size() && !hasFailed_; group = next_++)
        RunGroup(group, *reader, *sums);
      const std::lock_guard lock(mutex_);
      if (options_.histogram) {
        for (std::size_t band = 0; band < histogram_.size(); ++band) histogram_[band].Merge(sums->GetHistogram()[band]);
      }
      for (const std::wstring& text : reader->TakeWarnings()) {
        if (std::find(warnings_.begin(), warnings_.end(), text) == warnings_.end()) warnings_.push_back(text);
      }
    } catch (...) {
      const std::lock_guard lock(mutex_);
      hasFailed_ = true;
      if (!failure_) failure_ = std::current_exception();
    }
  }

  ScanResult GetResult() {
    if (failure_) std::rethrow_exception(failure_);
    raster_.CheckUnchanged();
    // By pairs, of which each has seen about as many pixels.
    for (std::size_t step = 1; step < groups_.size(); step *= 2) {
      for (std::size_t group = 0; group + step < groups_.size(); group += 2 * step)
        groups_[group].Merge(groups_[group + step]);
    }
    ScanResult result{std::move(groups_.front()), {}, std::move(warnings_)};
    if (options_.histogram) {
      for (std::size_t band = 0; band < histogram_.size(); ++band)
        result.histograms.push_back(
            histogram_[band].GetResult(result.moments.GetMinimum(band), result.moments.GetMaximum(band)));
    }
    return result;
  }

 private:
  void RunGroup(std::size_t group, RasterReader& reader, TileSums& sums) {
    const auto groups = static_cast<std::int64_t>(groups_.size()), number = static_cast<std::int64_t>(group);
    const std::int64_t end = plan_.GetCount() * (number + 1) / groups;
    for (std::int64_t index = plan_.GetCount() * number / groups; index < end && !hasFailed_; ++index) {
      environment_->CheckCancelled();
      AddWindow(plan_.At(index), reader, sums);
      TellProgress();
    }
    sums.Finish(groups_[group]);
  }

  void AddWindow(const RasterWindow& window, RasterReader& reader, TileSums& sums) {
    const unsigned factor = options_.skipFactor;
    const std::int32_t column = NextKept(window.column, factor), endColumn = window.column + window.columns;
    if (window.rows == 0 || column >= endColumn) return;
    const auto columns = static_cast<std::size_t>(endColumn - column);
    const auto add = [&](RasterPart part) {
      part.data += part.pixelStride * (column - window.column);
      sums.AddPixels(part, columns, factor);
    };
    if (factor == 1) {
      RasterPart part = reader.Read(window);
      for (std::int32_t row = 0; row < window.rows; ++row, part.data += part.rowStride) add(part);
      return;
    }
    const std::int32_t endRow = window.row + window.rows;
    for (std::int32_t row = NextKept(window.row, factor); row < endRow; row = NextKept(row + 1, factor))
      add(reader.Read({row, window.column, 1, window.columns}));
  }

  void TellProgress() {
    constexpr std::int64_t kWhole = 100;
    const std::int64_t done = ++done_, before = (done - 1) * kWhole / plan_.GetCount();
    const std::int64_t percent = done * kWhole / plan_.GetCount();
    if (percent == before) return;
    const std::lock_guard lock(progressMutex_);
    if (percent <= told_) return;
    told_ = percent;
    op_.SetProgress(static_cast<double>(percent));
  }

  const Raster& raster_;
  const ScanOptions& options_;
  Tessera::Operator& op_;
  boost::shared_ptr<Tessera::ExecutionEnvironment> environment_;
  boost::shared_ptr<const RasterFacts> facts_;
  std::mutex mutex_;  ///< around what follows, up to the failure
  std::unique_ptr<RasterReader> first_;
  std::vector<BinCounter> histogram_;
  std::vector<std::wstring> warnings_;
  std::exception_ptr failure_;
  Plan plan_;
  std::vector<Moments> groups_;  ///< each is one thread's while it runs
  std::atomic<std::size_t> next_{0};
  std::atomic<bool> hasFailed_{false};
  std::atomic<std::int64_t> done_{0};
  std::mutex progressMutex_;
  std::int64_t told_ = 0;
};

/// Answers each pull by the work of one thread.
class LaneRunner : public Tessera::Operator {
 public:
  explicit LaneRunner(Scan& scan) : scan_(scan) {}
  const wchar_t* GetDefaultOperatorName() const override { return L"RasterScan"; }
  void DeclarePorts() override { CreatePort(L"Done", Tessera::Data::DefaultTypeName(), Tessera::PortType::Output); }
  using Operator::Apply;
  void Apply(const boost::shared_ptr<Tessera::Port>& port,
             const boost::shared_ptr<Tessera::DataRequest>& request) override {
    scan_.RunLane();
    port->SetData(nullptr, request);
  }

 private:
  Scan& scan_;
};

}  // namespace

ScanResult ScanRaster(const Raster& raster, const ScanOptions& options, Tessera::Operator& op) {
  Scan scan(raster, options, op);
  unsigned lanes = scan.GetLanes();
  if (lanes == 1) {
    scan.RunLane();
    return scan.GetResult();
  }
  const auto runner = boost::make_shared<LaneRunner>(scan);
  runner->Initialize();
  if (const auto model = op.GetProcess()) runner->SetProcess(model);
  TesseraBasic::ConcurrencyHelper helper;
  helper.SetDataPort(runner->GetPort(L"Done"));
  helper.SetDataRequestCallback([&lanes](auto&, auto&) { return lanes > 0 && lanes-- > 0; });
  helper.RunGlobalProcess(false);
  return scan.GetResult();
}

}  // namespace Tamrin::TesseraGeospatial
