#include "sensor/macos/mac_ble.h"

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "sensor/adapter_state.h"
#import "sensor/macos/tvn_ble.h"

namespace tvn {
namespace {

// 3 s at most.
constexpr int k_leave_rounds = 150;
constexpr std::chrono::milliseconds k_leave_round{20};

Refusal refusal_from(NSException* exception) {
  const char* reason = [[exception reason] UTF8String];
  return reason == nullptr ? "" : reason;
}

// TVNBle as a central. What the framework throws becomes a refusal. The driver's threads are not
// the framework's, so that each call brings its own pool.
class TvnBleCentral : public Central {
 public:
  TvnBleCentral() {
    @autoreleasepool {
      ble_ = [[TVNBle alloc] init];
    }
  }

  bool powered_on() override { return [ble_ poweredOn]; }

  Refusal start_scan() override {
    @autoreleasepool {
      @try {
        [ble_ startScan];
      } @catch (NSException* exception) {
        return refusal_from(exception);
      }
    }
    return std::nullopt;
  }

  Refusal stop_scan() override {
    @autoreleasepool {
      @try {
        [ble_ stopScan];
      } @catch (NSException* exception) {
        return refusal_from(exception);
      }
    }
    return std::nullopt;
  }

  Refusal discovered(std::vector<SensorDevice>& devices) override {
    std::map<std::string, std::string> by_identifier;  // so that every scan has one order
    @autoreleasepool {
      @try {
        NSDictionary* snapshot = [ble_ discoveredSnapshot];
        for (NSString* identifier in snapshot) {
          CBPeripheral* peripheral = [snapshot objectForKey:identifier];
          const char* name = [[peripheral name] UTF8String];
          by_identifier[[identifier UTF8String]] = name == nullptr ? "" : name;
        }
      } @catch (NSException* exception) {
        return refusal_from(exception);
      }
    }
    devices.clear();
    for (const auto& [identifier, name] : by_identifier) devices.push_back({identifier, name});
    return std::nullopt;
  }

  Refusal connect_to(const std::string& identifier) override {
    @autoreleasepool {
      // Not UTF-8, and so no identifier of anything.
      NSString* text = [NSString stringWithUTF8String:identifier.c_str()];
      @try {
        [ble_ connectToAddress:text == nil ? @"" : text];
      } @catch (NSException* exception) {
        return refusal_from(exception);
      }
    }
    return std::nullopt;
  }

  Refusal disconnect() override {
    @autoreleasepool {
      @try {
        [ble_ disconnect];
      } @catch (NSException* exception) {
        return refusal_from(exception);
      }
    }
    return std::nullopt;
  }

  void explain_adapter() override {
    @autoreleasepool {
      report_adapter_state(static_cast<AdapterState>([[ble_ central] state]));
    }
  }

  // The system ends the connections of a process that ends, but a command that it has not passed
  // on by then is lost.
  void leave() override {
    for (int i = 0; i < k_leave_rounds && [ble_ stopPending]; ++i) {
      std::this_thread::sleep_for(k_leave_round);
    }
  }

 private:
  TVNBle* ble_ = nil;
};

}  // namespace

MacBle::MacBle(const DriverWaits& waits) : BleDriver(std::make_unique<TvnBleCentral>(), waits) {}

}  // namespace tvn
