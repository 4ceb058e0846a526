#pragma once

// Operations of the libraries on the files of operations.h. What they find wrong they tell by abort().
namespace content {

/// Everything that the service and the file object can read.
void readByService();
/// Every evaluation, region, fit and search; then the file is flushed and must be whole.
void analyseByFileObject();
/// Records and values moved, copied, inserted and deleted; then the file is flushed and must be whole.
void changeByFileObject();

}  // namespace content
