#include "sensor/sensor_log.h"

#import <Foundation/Foundation.h>

#include <cstdlib>
#include <mutex>

namespace tvn {
namespace {

// HOME as everywhere in the program; the account's folder where it is not set.
NSString* log_folder() {
  const char* home = std::getenv("HOME");
  NSString* folder =
      home == nullptr || *home == '\0' ? NSHomeDirectory() : [NSString stringWithUTF8String:home];
  return [folder stringByAppendingPathComponent:@"Documents/TVN-Live"];
}

NSString* time_stamp() {
  NSDateFormatter* formatter = [[NSDateFormatter alloc] init];
  // Otherwise a Mac set to a 12-hour clock writes one.
  [formatter setLocale:[[NSLocale alloc] initWithLocaleIdentifier:@"en_US_POSIX"]];
  [formatter setDateFormat:@"HH:mm:ss.SSS"];
  return [formatter stringFromDate:[NSDate date]];
}

void append_line(NSString* path, NSString* line) {
  NSData* bytes = [line dataUsingEncoding:NSUTF8StringEncoding];
  NSFileHandle* file = [NSFileHandle fileHandleForWritingAtPath:path];
  if (file == nil) {
    [bytes writeToFile:path atomically:NO];
    return;
  }
  [file seekToEndOfFile];
  [file writeData:bytes];
  [file closeFile];
}

void log_text(NSString* message) {
  NSLog(@"[TVN-BLE] %@", message);
  NSString* folder = log_folder();
  [[NSFileManager defaultManager] createDirectoryAtPath:folder
                            withIntermediateDirectories:YES
                                             attributes:nil
                                                  error:nullptr];
  append_line([folder stringByAppendingPathComponent:@"tvn_log.txt"],
              [NSString stringWithFormat:@"%@  %@\n", time_stamp(), message]);
}

}  // namespace

void sensor_log(const std::string& message) {
  static std::mutex one_line_at_a_time;
  const std::lock_guard hold(one_line_at_a_time);
  @autoreleasepool {
    @try {
      NSString* text = [NSString stringWithUTF8String:message.c_str()];
      log_text(text == nil ? @"(not text)" : text);
    } @catch (NSException* exception) {
      // A full disk must not end a run.
    }
  }
}

}  // namespace tvn
