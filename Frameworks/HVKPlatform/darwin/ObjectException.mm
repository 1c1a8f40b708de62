#include "HVKPlatform/ports/ObjectException.h"

#import <Foundation/Foundation.h>

#include <stdexcept>
#include <string>

namespace hvk {

void runRaisingStandardExceptions(const std::function<void()>& block) {
    std::string text;
    @try {
        block();
        return;
    } @catch (NSException* exception) {
        text = exception.name.UTF8String;
        if (exception.reason != nil) text += std::string(": ") + exception.reason.UTF8String;
    }
    throw std::runtime_error(text);
}

}  // namespace hvk
