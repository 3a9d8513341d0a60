// Memory and CPU use, as the machine has it that the simulated switch runs on.
#include "switchsim/host/sim_process.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "platform/openapi_process.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/call/sim_clock.h"
#include "switchsim/host/sim_folder.h"
#include "switchsim/model/sim_area.h"

namespace
{
// The periods; their labels serve as XML tags, so they begin with a letter and hold no blank.
constexpr struct {
  uint32_t seconds;
  const char* label;
} PERIODS[] = {
    {5,   "last_5_secs"  },
    {60,  "last_60_secs" },
    {300, "last_300_secs"},
};

// Clock ticks of the whole machine since it was started.
struct task_t {
  std::string name;
  uint64_t ticks = 0;
};
struct sample_t {
  uint64_t at_ms = 0;
  uint64_t busy = 0;
  uint64_t total = 0;
  std::map<int, task_t> tasks;
};

constexpr uint64_t SAMPLES_APART_MS = 1000;

// Ascending; the first one may be the empty one of the machine's start.
std::vector<sample_t> samples;

// Adds the fields "user nice system idle iowait irq ..." of the first line.
void totals_read(sample_t& sample)
{
  constexpr size_t IDLE = 3;
  constexpr size_t IOWAIT = 4;
  constexpr size_t FIELDS = 8;  // those behind are part of user and nice
  std::ifstream file("/proc/stat");
  std::string label;
  file >> label;
  uint64_t ticks = 0;
  for (size_t field = 0; field < FIELDS && file >> ticks; field++) {
    sample.total += ticks;
    sample.busy += field == IDLE || field == IOWAIT ? 0 : ticks;
  }
}

// The forms that a character can have in UTF-8, by its first two bytes.
constexpr struct {
  unsigned char first_min, first_max, second_min, second_max;
  size_t length;
} UTF8_FORMS[] = {
    {0x00, 0x7f, 0x00, 0xff, 1},
    {0xc2, 0xdf, 0x80, 0xbf, 2},
    {0xe0, 0xe0, 0xa0, 0xbf, 3},
    {0xe1, 0xec, 0x80, 0xbf, 3},
    {0xed, 0xed, 0x80, 0x9f, 3},
    {0xee, 0xef, 0x80, 0xbf, 3},
    {0xf0, 0xf0, 0x90, 0xbf, 4},
    {0xf1, 0xf3, 0x80, 0xbf, 4},
    {0xf4, 0xf4, 0x80, 0x8f, 4},
};

// The number of bytes of the character at a place of the text; 0 where none begins.
size_t utf8_length(const std::string& text, size_t at)
{
  const auto within = [&](size_t i, unsigned char min, unsigned char max) {
    const unsigned char byte = i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
    return byte >= min && byte <= max;
  };
  for (const auto& form : UTF8_FORMS) {
    bool is = within(at, form.first_min, form.first_max);
    for (size_t i = 1; i < form.length; i++) {
      is = is &&
           (i == 1 ? within(at + i, form.second_min, form.second_max) : within(at + i, 0x80, 0xbf));
    }
    if (is)
      return form.length;
  }
  return 0;
}

// A task's name is any bytes, cut at 15 of them. What separates fields of the answer, or begins a
// tag, becomes "_", what is no character the one that stands for such bytes.
std::string name_cleaned(const std::string& name)
{
  constexpr char NO_CHARACTER[] = "\xef\xbf\xbd";
  std::string cleaned;
  for (size_t at = 0; at < name.size();) {
    const size_t length = utf8_length(name, at);
    const unsigned char c = static_cast<unsigned char>(name[at]);
    if (length == 1 && (c == ',' || c == '<' || c == '&' || c < ' ' || c == 0x7f))
      cleaned += '_';
    else if (length == 0)
      cleaned += NO_CHARACTER;
    else
      cleaned.append(name, at, length);
    at += std::max<size_t>(length, 1);
  }
  return cleaned;
}

// "pid (name) state" and 10 more numbers, then the ticks in user and in system mode.
bool task_read(const std::string& path, task_t& task)
{
  constexpr int SKIPPED = 11;
  std::ifstream file(path);
  std::string stat;
  std::getline(file, stat, '\0');  // a name may hold a line's end
  const size_t open = stat.find('(');
  const size_t close = stat.rfind(')');
  if (open == std::string::npos || close == std::string::npos || close < open)
    return false;  // it has ended
  task.name = name_cleaned(stat.substr(open + 1, close - open - 1));
  unsigned long long user = 0;
  unsigned long long system = 0;
  size_t at = close + 1;
  for (int field = 0; field <= SKIPPED && at != std::string::npos; field++)
    at = stat.find(' ', at + 1);
  if (at == std::string::npos || sscanf(stat.c_str() + at, "%20llu %20llu", &user, &system) != 2)
    return false;
  task.ticks = user + system;
  return true;
}

sample_t sample_take()
{
  sample_t sample;
  sample.at_ms = sim_uptime_ms();
  totals_read(sample);
  for (const std::string& pid : sim_folder_names("/proc")) {
    task_t task;
    if (pid.find_first_not_of("0123456789") == std::string::npos &&
        task_read("/proc/" + pid + "/stat", task))
      sample.tasks[std::atoi(pid.c_str())] = task;
  }
  return sample;
}

// The latest sample that is at least so old, or the oldest one there is.
const sample_t& sample_before(uint64_t now_ms, uint64_t period_ms)
{
  const auto later = std::find_if(samples.begin() + 1, samples.end(), [&](const sample_t& sample) {
    return sample.at_ms + period_ms > now_ms;
  });
  return *(later - 1);
}

// Takes a sample and keeps it for later periods; those that no period reaches any more go.
sample_t sample_now()
{
  const sample_t now = sample_take();
  const sample_t& oldest = sample_before(now.at_ms, std::rbegin(PERIODS)->seconds * 1000ull);
  samples.erase(samples.begin(), samples.begin() + (&oldest - samples.data()));
  if (samples.size() == 1 || samples.back().at_ms + SAMPLES_APART_MS <= now.at_ms)
    samples.push_back(now);
  return now;
}

std::string percent(uint64_t part, uint64_t whole)
{
  char text[32];
  const double share = whole == 0 ? 0.0 : static_cast<double>(part) / static_cast<double>(whole);
  snprintf(text, sizeof text, "%.4f%%", 100.0 * std::min(share, 1.0));
  return text;
}

uint64_t grown(uint64_t now, uint64_t before)
{
  return now > before ? now - before : 0;
}

uint64_t task_ticks(const sample_t& sample, int pid)
{
  const auto task = sample.tasks.find(pid);
  return task == sample.tasks.end() ? 0 : task->second.ticks;
}

// One item "label:use;" a period, for what the procedure counts in a sample.
template <class Count>
std::string periods_text(const sample_t& now, Count count)
{
  std::string text;
  for (const auto& period : PERIODS) {
    const sample_t& before = sample_before(now.at_ms, period.seconds * 1000ull);
    text += std::string(period.label) + ":" +
            percent(grown(count(now), count(before)), grown(now.total, before.total)) + ";";
  }
  return text;
}

open_error_t total_util(uint32_t& entries, open_buffdesc* util)
{
  const sample_t now = sample_now();
  entries = std::size(PERIODS);
  return sim_text_put(util, periods_text(now, [](const sample_t& sample) { return sample.busy; }));
}

// The busiest tasks first, so that those left out are idle.
open_error_t task_util(uint32_t& entries, open_buffdesc* util)
{
  const sample_t now = sample_now();
  std::vector<std::pair<uint64_t, int>> order;
  for (const auto& [pid, task] : now.tasks)
    order.push_back({task.ticks, pid});
  std::sort(order.rbegin(), order.rend());
  std::string text;
  entries = 0;
  for (const auto& [ticks, pid] : order) {
    const auto count = [pid = pid](const sample_t& sample) { return task_ticks(sample, pid); };
    const std::string line =
        std::to_string(pid) + "," + now.tasks.at(pid).name + "," + periods_text(now, count) + "\n";
    if (text.size() + line.size() >= util->size)
      break;
    text += line;
    entries++;
  }
  return sim_text_put(util, text);
}

// The number of kilobytes behind a label of /proc/meminfo.
uint32_t memory_read(const std::string& label)
{
  std::ifstream file("/proc/meminfo");
  std::string line;
  while (std::getline(file, line))
    if (line.compare(0, label.size() + 1, label + ":") == 0)
      return static_cast<uint32_t>(std::stoull(line.substr(label.size() + 1)));
  return 0;
}

open_error_t memory_info(uint32_t& total, uint32_t& allocated, uint32_t& free)
{
  total = memory_read("MemTotal");
  free = std::min(memory_read("MemFree"), total);
  allocated = total - free;
  return OPEN_E_NONE;
}

void process_reset()
{
  samples.assign(1, {});
}

}  // namespace

const sim_area_t sim_process_area = sim_area(process_reset);

open_error_t rpcclt_openapiProcMemInfoGet(openapiClientHandle_t* client_handle,
                                          uint32_t* totalMemory, uint32_t* allocMemory,
                                          uint32_t* freeMemory)
{
  const auto work = [&] { return memory_info(*totalMemory, *allocMemory, *freeMemory); };
  return sim_call(__func__, client_handle, work, sim_out(totalMemory), sim_out(allocMemory),
                  sim_out(freeMemory));
}

open_error_t rpcclt_openapiProcTotalCpuUtilGet(openapiClientHandle_t* client_handle,
                                               uint32_t* numEntries, open_buffdesc* util)
{
  const auto work = [&] { return total_util(*numEntries, util); };
  return sim_call(__func__, client_handle, work, sim_out(numEntries), sim_out(util));
}

open_error_t rpcclt_openapiProcTaskCpuUtilGet(openapiClientHandle_t* client_handle,
                                              uint32_t* taskEntries, open_buffdesc* util)
{
  const auto work = [&] { return task_util(*taskEntries, util); };
  return sim_call(__func__, client_handle, work, sim_out(taskEntries), sim_out(util));
}
