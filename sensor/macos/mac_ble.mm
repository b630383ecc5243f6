#include "sensor/macos/mac_ble.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sensor/adapter_state.h"
#import "sensor/macos/tvn_ble.h"

namespace tvn {
namespace {

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

  std::vector<SensorDevice> discovered() override {
    std::map<std::string, std::string> by_identifier;  // so that every scan has one order
    @autoreleasepool {
      NSDictionary* snapshot = [ble_ discoveredSnapshot];
      for (NSString* identifier in snapshot) {
        CBPeripheral* peripheral = [snapshot objectForKey:identifier];
        const char* name = [[peripheral name] UTF8String];
        by_identifier[[identifier UTF8String]] = name == nullptr ? "" : name;
      }
    }
    std::vector<SensorDevice> devices;
    for (const auto& [identifier, name] : by_identifier) devices.push_back({identifier, name});
    return devices;
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

  // The system ends the connections of a process that ends.
  void leave() override {}

 private:
  TVNBle* ble_ = nil;
};

}  // namespace

MacBle::MacBle(const DriverWaits& waits) : BleDriver(std::make_unique<TvnBleCentral>(), waits) {}

}  // namespace tvn
