/// What is measured: one row of the table of docs/accuracy.md each. All numbers are reproducible: seeds are fixed.
#pragma once
#include <cmath>
#include <string>
#include <vector>

struct Measure {
  std::string what;
  std::string goal;
  std::string measured;
  bool met = false;
};

std::vector<Measure> measureRegionFits();
std::vector<Measure> measureDecisions();
std::vector<Measure> measureCalibrations();

/// Mean and standard deviation of many numbers.
class Sample {
 public:
  void add(double x) {
    ++n_;
    sum_ += x;
    squares_ += x * x;
  }
  double n() const { return n_; }
  double mean() const { return sum_ / n_; }
  double sd() const { return std::sqrt(squares_ / n_ - mean() * mean()); }

 private:
  double n_ = 0, sum_ = 0, squares_ = 0;
};

/// A number with so many digits behind the point.
std::string fixed(double number, int digits);
