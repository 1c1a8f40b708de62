#include "HVKPlatform/darwin/Files.h"

#import <Foundation/Foundation.h>

namespace hvk {

Result<std::string> DarwinFilesPort::applicationSupportDirectory() {
    @autoreleasepool {
        NSString* directory =
            NSSearchPathForDirectoriesInDomains(NSApplicationSupportDirectory, NSUserDomainMask, YES).firstObject;
        const char* path = directory.fileSystemRepresentation;
        if (directory.length == 0 || path == nullptr)
            return failed({FailureKind::Absent, "files", "the user has no Application Support directory"});
        health_.works();
        return std::string(path);
    }
}

}  // namespace hvk
