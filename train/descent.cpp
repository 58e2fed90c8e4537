#include "train/descent.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

namespace quel::train {
namespace {

// Pulls are limited: a chain of frames that amplifies them would drown everything else.
constexpr float greatest_pull = 0.01f;

using Table = std::vector<std::vector<double>>;

// What a stretch of frames asks for.
struct Part {
  Gradient gradient;
  double loss = 0.0;
  double weight = 0.0;
};

class Stretch {
 public:
  Stretch(const SpectrumQuantizer& q, const TrainingSet& set) : q_(q), set_(set), soft_(q) {}

  // Frames begin..end-1 after `settling` frames.
  void run(std::size_t begin, const DescentPlan& plan, const SoftPlan& soft, Part& part) {
    for (auto& column : part.gradient) std::fill(column.begin(), column.end(), 0.0f);
    part.loss = part.weight = 0.0;
    const auto end = begin + static_cast<std::size_t>(plan.settling + plan.stretch);
    forward(begin, end);
    Pull pull{};
    const std::size_t first = begin + static_cast<std::size_t>(plan.settling);
    for (std::size_t n = end; n-- > first;) {
      SoftInput in;
      in.f = set_.frame(n);
      in.sensitivity = &set_.sensitivity[n * static_cast<std::size_t>(set_.dims)];
      in.weight = set_.weight[n];
      in.past = past_[n - begin];
      in.pull = pull;
      soft_.choose(in);
      soft_.soften(in, soft);
      part.loss += soft_.own_loss();
      part.weight += in.weight;
      pull = soft_.backward(in, soft, part.gradient);
      if (set_.begins(n)) pull = Pull{};
      for (float& p : pull) p = std::clamp(p, -greatest_pull, greatest_pull);
    }
  }

 private:
  void forward(std::size_t begin, std::size_t end) {
    past_.resize(end - begin);
    Past past{};
    Choice choice;
    for (std::size_t n = begin; n < end; ++n) {
      if (set_.begins(n)) past = Past{};
      past_[n - begin] = past;
      quantize(q_, set_.frame(n), past, choice);
    }
  }

  const SpectrumQuantizer& q_;
  const TrainingSet& set_;
  SoftFrame soft_;
  std::vector<Past> past_;
};

// Adam (D. Kingma and J. Ba, 2015).
class Adam {
 public:
  explicit Adam(const SpectrumQuantizer& q) {
    for (const auto& book : q.books) {
      mean_.emplace_back(book.table.size());
      square_.emplace_back(book.table.size());
    }
  }

  // The move of every entry, in the layout of `Codebook::columns`.
  const Table& move(const Table& gradient, double step) {
    ++steps_;
    const double mean_share = 1.0 - std::pow(fade_, steps_);
    const double square_share = 1.0 - std::pow(fade_square_, steps_);
    moves_ = gradient;
    for (std::size_t k = 0; k < gradient.size(); ++k) {
      for (std::size_t i = 0; i < gradient[k].size(); ++i) {
        const double g = gradient[k][i];
        mean_[k][i] = fade_ * mean_[k][i] + (1.0 - fade_) * g;
        square_[k][i] = fade_square_ * square_[k][i] + (1.0 - fade_square_) * g * g;
        moves_[k][i] = -step * (mean_[k][i] / mean_share) /
                       (std::sqrt(square_[k][i] / square_share) + least_gradient_);
      }
    }
    return moves_;
  }

 private:
  static constexpr double fade_ = 0.9;
  static constexpr double fade_square_ = 0.98;
  static constexpr double least_gradient_ = 1e-12;
  int steps_ = 0;
  Table mean_;
  Table square_;
  Table moves_;
};

void move_rows(SpectrumQuantizer& q, const Table& moves) {
  for (std::size_t k = 0; k < q.books.size(); ++k) {
    Codebook& book = q.books[k];
    for (int j = 0; j < book.rows; ++j) {
      if (book.fixed[static_cast<std::size_t>(j)] != 0) continue;
      for (int t = 0; t < book.width; ++t) {
        const double way = moves[k][static_cast<std::size_t>(t * book.rows + j)];
        book.row(j)[t] = static_cast<float>(book.row(j)[t] + way);
      }
      hold_in_range(book, j);
    }
    book.refresh();
  }
}

// Averages of the free rows over some steps.
class Average {
 public:
  void add(const SpectrumQuantizer& q) {
    sums_.resize(q.books.size());
    ++count_;
    for (std::size_t k = 0; k < q.books.size(); ++k) {
      sums_[k].resize(q.books[k].table.size());
      for (std::size_t i = 0; i < sums_[k].size(); ++i) sums_[k][i] += q.books[k].table[i];
    }
  }
  void put(SpectrumQuantizer& q) const {
    for (std::size_t k = 0; k < q.books.size(); ++k) {
      Codebook& book = q.books[k];
      for (int j = 0; j < book.rows; ++j) {
        if (book.fixed[static_cast<std::size_t>(j)] != 0) continue;
        for (int t = 0; t < book.width; ++t) {
          const double sum = sums_[k][static_cast<std::size_t>(j * book.width + t)];
          book.row(j)[t] = static_cast<float>(sum / count_);
        }
        hold_in_range(book, j);
      }
      book.refresh();
    }
  }

 private:
  Table sums_;
  int count_ = 0;
};

class Descent {
 public:
  Descent(SpectrumQuantizer& q, const TrainingSet& set, const DescentPlan& plan)
      : q_(q), set_(set), plan_(plan), random_(plan.seed), adam_(q) {
    parts_.resize(static_cast<std::size_t>(plan.stretches));
    for (auto& part : parts_) part.gradient = zero_gradient(q);
    for (int i = 0; i < plan.threads; ++i) {
      workers_.push_back(std::make_unique<Stretch>(q, set));
    }
  }

  void run() {
    const auto length = static_cast<std::size_t>(plan_.settling + plan_.stretch);
    if (set_.frames() < length) return;
    Average average;
    for (int n = 0; n < plan_.steps; ++n) {
      const double done = static_cast<double>(n) / plan_.steps;
      const double falling = std::max(0.0, (done - plan_.full_step) / (1.0 - plan_.full_step));
      const double loss = take_step(plan_.step.at(falling), plan_.temperature.at(done), length);
      if (10 * n >= 9 * plan_.steps) average.add(q_);
      if (plan_.watch) plan_.watch(n + 1, loss);
    }
    average.put(q_);
  }

 private:
  double take_step(float step, float temperature, std::size_t length) {
    std::vector<std::size_t> begins;
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      begins.push_back(random_.index(set_.frames() - length + 1));
    }
    run_stretches(begins, {temperature, plan_.power, plan_.recursion});
    Table gradient;
    for (const auto& book : q_.books) gradient.emplace_back(book.table.size());
    double loss = 0.0;
    double weight = 0.0;
    for (const auto& part : parts_) {  // in the order of the stretches, whoever ran them
      for (std::size_t k = 0; k < gradient.size(); ++k) {
        for (std::size_t i = 0; i < gradient[k].size(); ++i) gradient[k][i] += part.gradient[k][i];
      }
      loss += part.loss;
      weight += part.weight;
    }
    if (!(weight > 0.0)) return 0.0;
    move_rows(q_, adam_.move(gradient, step));
    return loss / weight;
  }

  void run_stretches(const std::vector<std::size_t>& begins, const SoftPlan& soft) {
    std::atomic<std::size_t> next = 0;
    const auto work = [&](Stretch& worker) {
      for (std::size_t i = next++; i < begins.size(); i = next++) {
        worker.run(begins[i], plan_, soft, parts_[i]);
      }
    };
    std::vector<std::thread> others;
    for (std::size_t i = 1; i < workers_.size(); ++i) {
      others.emplace_back(work, std::ref(*workers_[i]));
    }
    work(*workers_[0]);
    for (auto& thread : others) thread.join();
  }

  SpectrumQuantizer& q_;
  const TrainingSet& set_;
  const DescentPlan& plan_;
  Random random_;
  Adam adam_;
  std::vector<Part> parts_;
  std::vector<std::unique_ptr<Stretch>> workers_;
};

}  // namespace

float Fall::at(double done) const {
  return static_cast<float>(from * std::pow(static_cast<double>(to) / from, done));
}

void descend(SpectrumQuantizer& q, const TrainingSet& set, const DescentPlan& plan) {
  for (auto& book : q.books) book.refresh();
  Descent(q, set, plan).run();
}

}  // namespace quel::train
