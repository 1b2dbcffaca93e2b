// Stand-in for the type of a file name extension. Written from the public documentation.
#pragma once

#include <Foundation/Foundation.h>

// https://developer.apple.com/documentation/uniformtypeidentifiers/uttypereference
@interface UTType : NSObject {
    NSString *_extension;
}
// https://developer.apple.com/documentation/uniformtypeidentifiers/uttypereference/init(filenameextension:)
+ (UTType *)typeWithFilenameExtension:(NSString *)extension;
- (NSString *)preferredFilenameExtension;
@end
