#include "aioproto.h"
#include "dictionary_cache.h"
#include "guard.h"

using namespace porb;

namespace {

/// Runs operation(dictionary) with the dictionary of an open file, or with the current one for a null handle.
template <typename Operation>
Status withDictionary(const void* handle, Operation&& operation) noexcept {
  return guarded([&]() -> Status {
    const Dictionary* dictionary =
        handle == nullptr ? &currentDictionary() : HandleTable::instance().dictionary(handle);
    return dictionary != nullptr ? operation(*dictionary) : Status{AIO_BADHANDLE};
  });
}

}  // namespace

extern "C" ULONG AioUtilGetPInfo(const void* handle, ULONG code, char* name, char* description, USHORT* flags,
                                 LONG* storage_type, LONG* storage_length, LONG* return_type, LONG* return_length,
                                 LONG* block_type, LONG* device_flags) {
  return withDictionary(handle, [&](const Dictionary& dictionary) -> Status {
    if (!name || !description || !flags || !storage_type || !storage_length || !return_type || !return_length ||
        !block_type || !device_flags)
      return AIO_BADARG;
    const Parameter* parameter = dictionary.find(code);
    if (parameter == nullptr) return AIO_UNKNOWNPARAM;
    parameter->name.copyTo(name);
    parameter->description.copyTo(description);
    *flags = parameter->flags;
    *storage_type = parameter->storage_type;
    *storage_length = parameter->storage_length;
    *return_type = parameter->return_type;
    *return_length = parameter->return_length;
    *block_type = parameter->block_type;
    *device_flags = 0;  // no parameter of a file belongs to a device
    return AIO_OK;
  });
}

extern "C" ULONG AioUtilPname2Code(const char* name, char* full_name, ULONG* code) {
  return withDictionary(nullptr, [&](const Dictionary& dictionary) -> Status {
    if (name == nullptr || full_name == nullptr || code == nullptr) return AIO_BADARG;
    const Parameter* parameter = dictionary.findByName(name);
    if (parameter == nullptr) return AIO_UNKNOWNPARAM;
    parameter->name.copyTo(full_name);
    *code = parameter->code;
    return AIO_OK;
  });
}

extern "C" ULONG AioUtilReturnType(const void* handle, ULONG code, LONG* type) {
  return withDictionary(handle, [&](const Dictionary& dictionary) -> Status {
    if (type == nullptr) return AIO_BADARG;
    const Parameter* parameter = dictionary.find(code);
    if (parameter == nullptr) return AIO_UNKNOWNPARAM;
    *type = parameter->return_type;
    return AIO_OK;
  });
}

extern "C" ULONG AioUtilParamInfo(const void* handle, ULONG code, AioParamInfo_T* info) {
  return withDictionary(handle, [&](const Dictionary& dictionary) -> Status {
    if (info == nullptr) return AIO_BADARG;
    const Parameter* parameter = dictionary.find(code);
    if (parameter == nullptr) return AIO_UNKNOWNPARAM;
    info->ulCode = parameter->code;
    info->ulLevel = parameter->level;
    info->lStorageType = parameter->storage_type;
    info->lStorageLength = parameter->storage_length;
    info->lReturnType = parameter->return_type;
    info->lReturnLength = parameter->return_length;
    parameter->name.copyTo(info->szName);
    parameter->unit.copyTo(info->szUnit);
    parameter->description.copyTo(info->szDescription);
    return AIO_OK;
  });
}

extern "C" ULONG AioUtilNextParam(const void* handle, ULONG after, ULONG* code) {
  return withDictionary(handle, [&](const Dictionary& dictionary) -> Status {
    if (code == nullptr) return AIO_BADARG;
    const Parameter* parameter = dictionary.next(after);
    if (parameter == nullptr) return AIO_NOMORE;
    *code = parameter->code;
    return AIO_OK;
  });
}

extern "C" const char* AioUtilClassName(USHORT cls) {
  const char* words = nullptr;
  withDictionary(nullptr, [&](const Dictionary& dictionary) -> Status {
    words = dictionary.className(cls);
    return AIO_OK;
  });
  return words;
}
