#pragma once

#include <sys/types.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/child_process.h"

namespace brindlemar::bench {

// Percentile of samples (sorted in place), p in [0, 100].
template <class T>
T percentile(std::vector<T>& samples, double p) {
    std::sort(samples.begin(), samples.end());
    if (samples.empty()) return T{};
    auto index = static_cast<std::size_t>(p / 100.0 * static_cast<double>(samples.size() - 1));
    return samples[index];
}

inline double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The helper binary as a child with pipes on stdin and stdout (stderr inherited), in the
// benchmark's environment without its BRINDLEMAR_ settings, plus `environment`.
class Child {
  public:
    Child(const std::string& binary, const std::map<std::string, std::string>& environment);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    void writeAll(const std::string& bytes);
    // Reads one line (without its line feed); empty string at end of output.
    std::string readLine();
    // Reads exactly n bytes.
    void readExactly(std::size_t n, std::vector<char>& into);
    void closeInput() { in_.reset(); }
    int in() const { return in_.get(); }
    pid_t pid() const { return process_->pid(); }

  private:
    bool fill();
    std::unique_ptr<ChildProcess> process_;
    UniqueFd in_;
    UniqueFd out_;
    std::vector<char> buffer_;
    std::size_t begin_ = 0, end_ = 0;
};

}  // namespace brindlemar::bench
