#include "ServiceDouble.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

namespace orbtest {

namespace {

std::unique_ptr<ServiceDouble> current = std::make_unique<ServiceDouble>();

bool lockedElsewhere(const FileAccess& file) {
  bool locked = false;
  std::thread([&] {
    const std::unique_lock<std::recursive_mutex> attempt(file.mutex(), std::try_to_lock);
    locked = !attempt.owns_lock();
  }).join();
  return locked;
}

}  // namespace

ServiceDouble& service() {
  return *current;
}

void ServiceDouble::refuse(const std::string& operation, ULONG status) {
  script_[operation].push_back({status, nullptr});
}

void ServiceDouble::onNext(const std::string& operation, std::function<void()> action) {
  script_[operation].push_back({AIO_OK, std::move(action)});
}

std::vector<std::string> ServiceDouble::texts() const {
  std::vector<std::string> list;
  for (const Call& call : calls) list.push_back(call.text);
  return list;
}

std::vector<std::string> ServiceDouble::textsOfWork() const {
  std::vector<std::string> list = texts();
  const auto is_lookup = [](const std::string& text) { return text.rfind("AioUtil", 0) == 0; };
  list.erase(std::remove_if(list.begin(), list.end(), is_lookup), list.end());
  return list;
}

bool ServiceDouble::play(const std::string& operation, const std::string& arguments, ULONG& status) {
  Call call{operation + "(" + arguments + ")", "", ""};
  for (const FileAccess* file : watched) {
    call.locks += lockedElsewhere(*file) ? 'L' : '-';
    call.modified += file->hasBeenModified() ? 'M' : '-';
  }
  calls.push_back(call);

  std::deque<Step>& steps = script_[operation];
  if (steps.empty()) return true;
  const Step step = steps.front();
  steps.pop_front();
  if (step.action) step.action();
  status = step.status;
  return status == AIO_OK;
}

DoubleTest::DoubleTest() {
  current = std::make_unique<ServiceDouble>();
  namespace vyx = com::norvale::application::vyx;
  previous_sink_ = vyx::routeLog([this](const vyx::LogLine& line) {
    const std::string priority = line.priority == vyx::err ? "" : " priority " + std::to_string(line.priority);
    log.push_back(vyx::formatLogLine(line) + priority);
  });
}

DoubleTest::~DoubleTest() {
  com::norvale::application::vyx::routeLog(previous_sink_);
}

void DoubleTest::open(FileAccess& file, const std::string& name, void* handle) {
  service().next_handle = handle;
  ASSERT_EQ(file.open(name, com::norvale::orb::READWRITE), 0u);
  service().calls.clear();
}

std::vector<std::uint8_t> bytesOf(const void* data, std::size_t n) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  return n == 0 ? std::vector<std::uint8_t>() : std::vector<std::uint8_t>(bytes, bytes + n);
}

}  // namespace orbtest

// ---- The operations ---------------------------------------------------------------------------------------

namespace {

using orbtest::service;

std::string hex(std::uintmax_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "%jX", value);
  return text;
}

std::string show(const void* handle) {
  return hex(reinterpret_cast<std::uintptr_t>(handle));
}
std::string show(const std::string& text) {
  return text;
}
std::string show(std::int64_t number) {
  return std::to_string(number);
}

std::string showBytes(const void* data, std::size_t n) {
  std::string text;
  for (const std::uint8_t byte : orbtest::bytesOf(data, n)) text += hex(byte / 16) + hex(byte % 16);
  return text;
}

template <typename... Rest>
std::string list(const Rest&... rest) {
  std::string text;
  ((text += (text.empty() ? "" : ", ") + show(rest)), ...);
  return text;
}

template <typename... Args>
ULONG play(const char* operation, const Args&... args) {
  ULONG status = AIO_OK;
  service().play(operation, list(args...), status);
  return status;
}

ULONG giveHandle(const char* operation, void** handle, const std::string& arguments) {
  ULONG status = AIO_OK;
  if (!service().play(operation, arguments, status)) return status;
  *handle = service().next_handle;
  service().open_handles.insert(*handle);
  return AIO_OK;
}

template <std::size_t N>
void copyText(char* buffer, const std::string& text) {
  std::memset(buffer, 0, N);
  std::memcpy(buffer, text.data(), std::min(text.size(), N));
}

}  // namespace

LONG AioIsOpen(const void* handle) {
  return service().open_handles.count(handle) != 0 ? 1 : 0;
}

ULONG AioOpen2(void** handle, const char* path, ULONG access, ULONG share, ULONG flags) {
  return giveHandle("AioOpen2", handle, list(std::string(path), access, share, flags));
}

ULONG AioCreate(void** handle, const char* path, ULONG size, void* r1, void* r2, void* r3) {
  return giveHandle("AioCreate", handle, list(std::string(path), size, r1, r2, r3));
}

ULONG AioClose2(void* handle, ULONG option) {
  const ULONG status = play("AioClose2", handle, option);
  if (status == AIO_OK) service().open_handles.erase(handle);
  return status;
}

ULONG AioFlush(void* handle) {
  return play("AioFlush", handle);
}

ULONG AioCreateBlock(void* handle, USHORT cls, ULONG size) {
  return play("AioCreateBlock", handle, hex(cls), size);
}

ULONG AioCreatePHA(void* handle, ULONG groups, ULONG channels, ULONG rows) {
  return play("AioCreatePHA", handle, groups, channels, rows);
}

ULONG AioDeleteBlock(void* handle, USHORT cls) {
  return play("AioDeleteBlock", handle, hex(cls));
}

ULONG AioDeleteLevel(void* handle, ULONG level) {
  return play("AioDeleteLevel", handle, level);
}

ULONG AioInsertRecord(void* handle, USHORT cls, USHORT record) {
  return play("AioInsertRecord", handle, hex(cls), record);
}

ULONG AioInsertEntry(void* handle, USHORT cls, USHORT record, USHORT entry) {
  return play("AioInsertEntry", handle, hex(cls), record, entry);
}

ULONG AioDelete(void* handle, USHORT cls, USHORT record, USHORT entry) {
  return play("AioDelete", handle, hex(cls), record, entry);
}

ULONG AioCount(void* handle, USHORT cls, USHORT record, ULONG code, USHORT* count) {
  const ULONG status = play("AioCount", handle, hex(cls), record, hex(code));
  *count = service().count;
  return status;
}

ULONG AioCopy(void* source, void* destination, USHORT cls) {
  return play("AioCopy", source, destination, hex(cls));
}

ULONG AioDupFile(void* source, void* destination) {
  return play("AioDupFile", source, destination);
}

ULONG AioMoveRecord(USHORT cls, void* source, USHORT source_record, void* destination, USHORT destination_record) {
  return play("AioMoveRecord", hex(cls), source, source_record, destination, destination_record);
}

ULONG AioReadSpectrum2(void* handle, void* buffer, LONG format, ULONG channels, ULONG first, ULONG row, ULONG group) {
  const ULONG status = play("AioReadSpectrum2", handle, format, channels, first, row, group);
  const std::vector<std::uint8_t>& spectrum = service().spectrum;
  const std::size_t n = std::min<std::size_t>(spectrum.size(), std::size_t{channels} * 4);
  if (status == AIO_OK && n != 0) std::memcpy(buffer, spectrum.data(), n);
  return status;
}

ULONG AioWriteSpectrum2(void* handle, const void* buffer, LONG format, ULONG channels, ULONG first, ULONG row,
                        ULONG group) {
  return play("AioWriteSpectrum2", handle, showBytes(buffer, std::size_t{channels} * 4), format, channels, first, row,
              group);
}

ULONG AioGetParam(void* handle, ULONG code, USHORT record, USHORT entry, void* buffer, USHORT* size) {
  const ULONG status = play("AioGetParam", handle, hex(code), record, entry, *size);
  if (status != AIO_OK) return status;
  const auto value = service().values.find(code);
  if (value == service().values.end()) return AIO_NOVALUE;
  std::memcpy(buffer, value->second.data(), std::min<std::size_t>(value->second.size(), *size));
  return AIO_OK;
}

ULONG AioPutParam(void* handle, ULONG code, USHORT record, USHORT entry, const void* buffer, const USHORT* size) {
  return play("AioPutParam", handle, hex(code), record, entry, showBytes(buffer, *size));
}

ULONG AioUtilGetPInfo(const void* handle, ULONG code, char* name, char* description, USHORT* flags, LONG* storage_type,
                      LONG* storage_length, LONG* return_type, LONG* return_length, LONG* block_type,
                      LONG* device_flags) {
  ULONG status = AIO_OK;
  if (!service().play("AioUtilGetPInfo", list(handle, hex(code)), status)) return status;
  const auto entry = service().dictionary.find(code);
  const bool known = entry != service().dictionary.end();
  if (!known && !service().others) return AIO_UNKNOWNPARAM;
  orbtest::Parameter parameter = known ? entry->second : *service().others;
  if (!known) parameter.name = "P" + hex(code);
  copyText<AIO_NAME_LENGTH>(name, parameter.name);
  copyText<AIO_DESCRIPTION_LENGTH>(description, parameter.name + " described");
  *flags = 0xF001;
  *storage_type = 11;
  *storage_length = parameter.storage_length;
  *return_type = parameter.type;
  *return_length = parameter.return_length;
  *block_type = 13;
  *device_flags = 15;
  return AIO_OK;
}

ULONG AioUtilPname2Code(const char* name, char* full_name, ULONG* code) {
  const ULONG status = play("AioUtilPname2Code", std::string(name));
  if (status != AIO_OK) return status;
  for (const auto& [known, parameter] : service().dictionary) {
    if (parameter.name != name) continue;
    *code = known;
    copyText<AIO_DESCRIPTION_LENGTH>(full_name, parameter.name);
    return AIO_OK;
  }
  return AIO_UNKNOWNPARAM;
}

ULONG AioFindRecord(void* handle, USHORT cls, ULONG kind, const void* key, USHORT* record, USHORT start) {
  std::string shown;
  if (kind == AIO_FIND_NAME) {
    shown = static_cast<const char*>(key);
  } else {
    const auto* line = static_cast<const OjEnergy_T*>(key);
    char text[40];
    std::snprintf(text, sizeof text, "%g +- %g", line->rEnergy, line->rToler);
    shown = text;
  }
  const ULONG status = play("AioFindRecord", handle, hex(cls), kind, shown, start);
  if (service().found) *record = *service().found;
  return status;
}
