#include "tests/support/household.h"

namespace test_support {

std::string household(int users) {
  std::string list;
  std::string options;
  for (int i = 1; i <= users; ++i) {
    const std::string user = std::to_string(i);
    const auto option = [&options, &user](const std::string& name, const std::string& value) {
      options.append("\tlist ").append(name).append(user).append(" '").append(value).append("'\n");
    };
    list += "\tlist user_list '" + user + "'\n";
    option("mac_set_user", "macs_" + user);
    option("label_user", user);
    if (i % 4 == 0) option("reject_user", "1");
    if (i % 4 == 1) {
      for (int device = 1; device <= 3; ++device) {
        option("mac_user", "02:00:00:00:00:0" + std::to_string(device));
        option("mac_label_user", std::to_string(device) + "00" + user);
      }
    }
    if (i % 4 < 2) continue;
    option("blacklist_v4_user", "v4_" + user);
    option("blacklist_v6_user", "v6_" + user);
    option("keywords_user", "hosts_" + user);
    option("app_counter_user", user);
    option("class_reject_user", "3");
    if (i % 4 == 2) {
      option("host_counter_user", user);
      option("class_user", "7");
      option("class_label_user", user);
    } else {
      option("class_reject_user", "5");
      option("class_3_except_user", "9");
    }
  }
  return "config kovsel 'kovsel'\n" + list + options;
}

}  // namespace test_support
