/// Replicas with known truth: noise from a seed, and whether quoted uncertainties are the real ones.
#pragma once
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

namespace anautilstest {

/// Mean and width of (found - true)/quoted over many replicas.
class Pulls {
 public:
  void add(double found, double truth, double quoted) {
    const double pull = (found - truth) / quoted;
    ++n_;
    sum_ += pull;
    sum_of_squares_ += pull * pull;
  }
  double mean() const { return sum_ / n_; }
  double width() const { return std::sqrt(sum_of_squares_ / n_ - mean() * mean()); }

  /// The width is 1 within 5 %, the mean 0 within 0.06; both are left in the test's report.
  void expectUnit(const std::string& name) const {
    testing::Test::RecordProperty("pull_width_" + name, std::to_string(width()));
    EXPECT_NEAR(width(), 1.0, 0.05) << name;
    EXPECT_NEAR(mean(), 0.0, 0.06) << name;
  }

 private:
  double n_ = 0;
  double sum_ = 0;
  double sum_of_squares_ = 0;
};

constexpr int kReplicas = 5000;

/// Standard normal numbers from a seed.
class Noise {
 public:
  explicit Noise(unsigned seed) : engine_(seed) {}
  double operator()() { return normal_(engine_); }

 private:
  std::mt19937_64 engine_;
  std::normal_distribution<double> normal_;
};

}  // namespace anautilstest
