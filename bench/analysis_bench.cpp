// The analysis: the fit of one region through the routine beside a least-squares fit of the same channels by GSL, a
// whole spectrum, and the evaluation of an equation.
#include <gsl/gsl_multifit_nlinear.h>

#include <cmath>
#include <cstdio>

#include "FileAccess.h"
#include "analysed_spectrum.h"
#include "anautils.h"
#include "orbparams.h"
#include "sample_files.h"
#include "suites.h"

using com::norvale::datatypes::Variant;
using com::norvale::orb::FileAccess;

namespace {

class SpectrumObject {
 public:
  SpectrumObject() {
    const std::string path = samplePath("analysis.orb");
    std::remove(path.c_str());
    createAnalysedSpectrum(file_, path);
  }
  ~SpectrumObject() { file_.close(com::norvale::orb::NOFLUSH); }
  FileAccess& operator*() { return file_; }
  FileAccess* operator->() { return &file_; }

 private:
  FileAccess file_;
};

/// Channels of the region about the 30th line, from 1.
std::pair<int, int> region() {
  const int middle = channelOfLine(30);
  return {middle - 30, middle + 30};
}

void fitOurs(benchmark::State& state) {
  SpectrumObject file;
  const auto [first, last] = region();
  file->setParameter(ORB_L_SRFIRST, Variant(first), 1, 0);
  file->setParameter(ORB_L_SRLAST, Variant(last), 1, 0);
  file->setParameter(ORB_L_CALFLAGS, Variant(3), 0, 0);
  file->setParameter(ORB_T_CONTTYPE, Variant(std::string("LINEAR")), 0, 0);
  for (auto _ : state)
    if (lEncal1(file->handle(), 1, 0, 0) != ANA_OK) state.SkipWithError("lEncal1");
}

struct GslData {
  int first;
  int n;
};

/// Area, centroid, sigma, offset and slope; channel integrals as in our fit.
int gslResiduals(const gsl_vector* p, void* data, gsl_vector* residuals) {
  const auto* const d = static_cast<const GslData*>(data);
  const double s = gsl_vector_get(p, 2) * std::sqrt(2.0);
  double below = std::erf((d->first - 0.5 - gsl_vector_get(p, 1)) / s);
  for (int i = 0; i < d->n; ++i) {
    const double above = std::erf((d->first + i + 0.5 - gsl_vector_get(p, 1)) / s);
    const double model = gsl_vector_get(p, 0) * 0.5 * (above - below) + gsl_vector_get(p, 3) + gsl_vector_get(p, 4) * i;
    gsl_vector_set(residuals, static_cast<std::size_t>(i),
                   model - analysedCounts()[static_cast<std::size_t>(d->first + i - 1)]);
    below = above;
  }
  return GSL_SUCCESS;
}

int gslJacobian(const gsl_vector* p, void* data, gsl_matrix* jacobian) {
  const auto* const d = static_cast<const GslData*>(data);
  const double area = gsl_vector_get(p, 0);
  const double sigma = gsl_vector_get(p, 2);
  const auto density = [&](double z) { return std::exp(-z * z / 2) / std::sqrt(2 * M_PI); };
  double z0 = (d->first - 0.5 - gsl_vector_get(p, 1)) / sigma;
  double e0 = std::erf(z0 / std::sqrt(2.0));
  double g0 = density(z0);
  for (int i = 0; i < d->n; ++i) {
    const auto row = static_cast<std::size_t>(i);
    const double z1 = (d->first + i + 0.5 - gsl_vector_get(p, 1)) / sigma;
    const double e1 = std::erf(z1 / std::sqrt(2.0));
    const double g1 = density(z1);
    gsl_matrix_set(jacobian, row, 0, 0.5 * (e1 - e0));
    gsl_matrix_set(jacobian, row, 1, -area * (g1 - g0) / sigma);
    gsl_matrix_set(jacobian, row, 2, -area * (z1 * g1 - z0 * g0) / sigma);
    gsl_matrix_set(jacobian, row, 3, 1);
    gsl_matrix_set(jacobian, row, 4, i);
    z0 = z1;
    e0 = e1;
    g0 = g1;
  }
  return GSL_SUCCESS;
}

/// Levenberg-Marquardt with weights 1/n, from the same start and to the covariance.
void fitGsl(benchmark::State& state) {
  const auto [first, last] = region();
  GslData data{first, last - first + 1};
  const auto n = static_cast<std::size_t>(data.n);
  gsl_multifit_nlinear_parameters settings = gsl_multifit_nlinear_default_parameters();
  gsl_multifit_nlinear_fdf fdf{};
  fdf.f = gslResiduals;
  fdf.df = gslJacobian;
  fdf.n = n;
  fdf.p = 5;
  fdf.params = &data;
  gsl_vector* const weights = gsl_vector_alloc(n);
  for (std::size_t i = 0; i < n; ++i)
    gsl_vector_set(weights, i, 1 / std::max(1.0, analysedCounts()[static_cast<std::size_t>(first) + i - 1]));
  gsl_vector* const start = gsl_vector_alloc(5);
  gsl_matrix* const covariance = gsl_matrix_alloc(5, 5);
  gsl_multifit_nlinear_workspace* const work = gsl_multifit_nlinear_alloc(gsl_multifit_nlinear_trust, &settings, n, 5);
  for (auto _ : state) {
    const double from[] = {3000, (first + last) / 2.0, 4, 20, 0};
    for (std::size_t k = 0; k < 5; ++k) gsl_vector_set(start, k, from[k]);
    gsl_multifit_nlinear_winit(start, weights, &fdf, work);
    int info = 0;
    if (gsl_multifit_nlinear_driver(60, 1e-8, 1e-8, 1e-8, nullptr, nullptr, &info, work) != GSL_SUCCESS)
      state.SkipWithError("gsl");
    gsl_multifit_nlinear_covar(gsl_multifit_nlinear_jac(work), 0, covariance);
    benchmark::DoNotOptimize(gsl_matrix_get(covariance, 0, 0));
  }
  gsl_multifit_nlinear_free(work);
  gsl_matrix_free(covariance);
  gsl_vector_free(start);
  gsl_vector_free(weights);
}

void wholeSpectrum(benchmark::State& state) {
  SpectrumObject file;
  for (auto _ : state) {
    if (AA_2nd_Diff_Peak_Loc(file->handle(), 0, 0, 0) != ANA_OK || lPANolin(file->handle(), 0, 0, 0) != ANA_OK)
      state.SkipWithError("peaks");
  }
  std::uint16_t n = 0;
  file->countItems(ORB_D_PKLOCATED, n, 0);
  if (n < kAnalysedLines) state.SkipWithError("lines are missing");
}

/// Location where nothing tells the widths of lines: they are looked for in the counts first, which here hold none.
void locateWithoutWidths(benchmark::State& state, std::uint32_t channels) {
  const std::string path = samplePath("locate" + std::to_string(channels) + ".orb");
  std::remove(path.c_str());
  FileAccess file;
  require(file.create(path, channels, false), "create");
  for (const std::uint32_t fwhm : {ORB_D_FWHMOFF, ORB_D_FWHMSLOPE}) file.setParameter(fwhm, Variant(0.0), 0, 0);
  file.setParameter(ORB_L_LOCLAST, Variant(static_cast<int>(channels)), 0, 0);
  file.setSpectrum(std::vector<unsigned int>(channels, 100), 1, 1);
  for (auto _ : state)
    if (AA_2nd_Diff_Peak_Loc(file.handle(), 0, 0, 0) != ANA_OK) state.SkipWithError("location");
  file.close(com::norvale::orb::NOFLUSH);
}

void evaluateEnergy(benchmark::State& state) {
  SpectrumObject file;
  float channel = 1;
  for (auto _ : state) {
    auto energy = file->evaluate(com::norvale::orb::CHANNEL2ENERGY, channel, true);
    benchmark::DoNotOptimize(energy);
    channel = channel < kAnalysedChannels ? channel + 1 : 1;
  }
}

}  // namespace

std::vector<Comparison> analysisSuite() {
  const auto add = [](const char* name, void (*function)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, function)->UseRealTime();
  };
  add("fit", fitOurs);
  add("fit.gsl", fitGsl);
  add("analysis", wholeSpectrum);
  add("evaluate", evaluateEnergy);
  benchmark::RegisterBenchmark("locate", locateWithoutWidths, 1u << 20)->UseRealTime();
  benchmark::RegisterBenchmark("locate.sixteenth", locateWithoutWidths, 1u << 16)->UseRealTime();
  return {
      {"fit one line through the routine", "fit", "GSL, weighted least squares", "fit.gsl", 0.5},
      {"fit one line through the routine", "fit", "limit: 3000 a second", nullptr, 1, 1e9 / 3000},
      {"60 lines of 16384 channels located and fitted", "analysis", "limit 20 ms", nullptr, 1, 20e6},
      {"the same", "analysis", "fit of one line", "fit", 60},
      {"2^20 channels searched, widths unknown", "locate", "limit 2 s", nullptr, 1, 2e9},
      {"the same", "locate", "2^16 channels", "locate.sixteenth", 16},
      {"evaluate: channel to energy", "evaluate", "getParameter of a double", "getParameter", 3},
  };
}
