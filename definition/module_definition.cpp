#include "definition/module_definition.hpp"

namespace zentrova::monitoring_modules::microsoftazure::definition {

const std::string& module_definition() {
    static const std::string document = R"json({
    "Revision": 7,
    "MetaData": {
        "Vendor": "zentrova",
        "Name": "microsoftazure",
        "Display": "Microsoft Azure",
        "Description": "This module combines selected sensors for Microsoft Azure.",
        "Contact": "support@zentrova.com",
        "Version": "0.0.1"
    },
    "Sections": {
        "azure_credentials_section": {
            "Name": "azure_credentials_section",
            "Display": "Credentials for Microsoft Azure",
            "Scope": "SettingSectionScopeCredentials",
            "Groups": [
                "credentials_group"
            ]
        },
        "virtual_machine_metascan_section": {
            "Name": "virtual_machine_metascan_section",
            "Display": "Microsoft Azure Specific",
            "Scope": "SettingSectionScopeSensor",
            "Groups": [
                "virtual_machine_metascan_group"
            ]
        },
        "subscription_cost_sensor_section": {
            "Name": "subscription_cost_sensor_section",
            "Display": "Microsoft Azure Specific",
            "Scope": "SettingSectionScopeSensor",
            "Groups": [
                "subscription_cost_sensor_group"
            ]
        },
        "sql_database_metascan_section": {
            "Name": "sql_database_metascan_section",
            "Display": "Microsoft Azure Specific",
            "Scope": "SettingSectionScopeSensor",
            "Groups": [
                "sql_database_metascan_group"
            ]
        }
    },
    "Groups": {
        "credentials_group": {
            "Name": "credentials_group",
            "Items": [
                {
                    "Setting": {
                        "Name": "tenant_id",
                        "Display": "Tenant ID",
                        "Help": "Enter your Azure AD tenant ID.",
                        "Default": "",
                        "Text": {},
                        "Flags": []
                    }
                },
                {
                    "Setting": {
                        "Name": "client_id",
                        "Display": "Client ID",
                        "Help": "Enter your Azure AD client ID.",
                        "Default": "",
                        "Text": {},
                        "Flags": []
                    }
                },
                {
                    "Setting": {
                        "Name": "client_secret",
                        "Display": "Client Secret",
                        "Help": "Enter your Azure AD client secret.",
                        "Default": "",
                        "Text": {
                            "Security": "SettingSecurityMedium"
                        },
                        "Flags": []
                    }
                },
                {
                    "Setting": {
                        "Name": "subscription_id",
                        "Display": "Subscription ID",
                        "Help": "Enter your Azure AD subscription ID.",
                        "Default": "",
                        "Text": {},
                        "Flags": []
                    }
                }
            ]
        },
        "virtual_machine_metascan_group": {
            "Name": "virtual_machine_metascan_group",
            "Items": [
                {
                    "Setting": {
                        "Name": "name",
                        "Display": "Virtual Machine Name",
                        "Help": "Shows the name of the virtual machine that this sensor monitors.",
                        "Default": "",
                        "Text": {},
                        "Flags": [
                            "SettingFlagVisibilityNotInNew",
                            "SettingFlagReadOnlyOnNotEmpty"
                        ],
                        "MaxLengthInMetascanTable": 100
                    }
                },
                {
                    "Setting": {
                        "Name": "vm_id",
                        "Display": "Virtual Machine ID",
                        "Help": "Shows the ID of the virtual machine that this sensor monitors.",
                        "Default": "",
                        "Text": {},
                        "Flags": [
                            "SettingFlagVisibilityNotInNew",
                            "SettingFlagReadOnlyOnNotEmpty",
                            "SettingFlagVisibilityNotInMetascanTable"
                        ]
                    }
                },
                {
                    "Setting": {
                        "Name": "os",
                        "Display": "Operating System",
                        "Help": "Shows the operating system of the server on which the virtual machine runs.",
                        "Default": "",
                        "Text": {},
                        "Flags": [
                            "SettingFlagVisibilityNotInNew",
                            "SettingFlagReadOnlyOnNotEmpty"
                        ],
                        "MaxLengthInMetascanTable": 100
                    }
                },
                {
                    "Setting": {
                        "Name": "resource_group",
                        "Display": "Resource Group",
                        "Help": "Shows the Microsoft Azure resource group of the virtual machine that this sensor monitors.",
                        "Default": "",
                        "Text": {},
                        "Flags": [
                            "SettingFlagVisibilityNotInNew",
                            "SettingFlagReadOnlyOnNotEmpty"
                        ],
                        "MaxLengthInMetascanTable": 100
                    }
                },
                {
                    "Setting": {
                        "Name": "region",
                        "Display": "Region",
                        "Help": "Shows the Azure region of the virtual machine that this sensor monitors.",
                        "Default": "",
                        "Text": {},
                        "Flags": [
                            "SettingFlagVisibilityNotInNew",
                            "SettingFlagReadOnlyOnNotEmpty"
                        ],
                        "MaxLengthInMetascanTable": 100
                    }
                }
            ]
        },
        "sql_database_metascan_group": {
            "Name": "sql_database_metascan_group",
            "Items": [
                {
                    "Setting": {
                        "Name": "name",
                        "Display": "Azure SQL Database Name",
                        "Help": "Shows the name of the Azure SQL Database that this sensor monitors.",
                        "Default": "",
                        "Text": {},
                        "Flags": [
                            "SettingFlagReadOnlyOnNotEmpty",
                            "SettingFlagVisibilityNotInNew"
                        ],
                        "MaxLengthInMetascanTable": 100
                    }
                },
                {
                    "Setting": {
                        "Name": "database_id",
                        "Display": "Azure SQL Database ID",
                        "Help": "Shows the ID of the Azure SQL Database that this sensor monitors.",
                        "Default": "",
                        "Text": {},
                        "Flags": [
                            "SettingFlagReadOnlyOnNotEmpty",
                            "SettingFlagVisibilityNotInNew",
                            "SettingFlagVisibilityNotInMetascanTable"
                        ],
                        "MaxLengthInMetascanTable": 100
                    }
                },
                {
                    "Setting": {
                        "Name": "region",
                        "Display": "Region",
                        "Help": "Shows the Azure region of the Azure SQL Database that this sensor monitors.",
                        "Default": "",
                        "Text": {},
                        "Flags": [
                            "SettingFlagReadOnlyOnNotEmpty",
                            "SettingFlagVisibilityNotInNew"
                        ],
                        "MaxLengthInMetascanTable": 100
                    }
                },
                {
                    "Setting": {
                        "Name": "type",
                        "Display": "Resource Type",
                        "Help": "Shows the resource type of the Azure SQL Database. This can be a single database or an elastic pool.",
                        "Default": "",
                        "Text": {},
                        "Flags": [
                            "SettingFlagReadOnlyOnNotEmpty",
                            "SettingFlagVisibilityNotInNew"
                        ],
                        "MaxLengthInMetascanTable": 100
                    }
                }
            ]
        },
        "subscription_cost_sensor_group": {
            "Name": "subscription_cost_sensor_group",
            "Items": [
                {
                    "Setting": {
                        "Name": "show_budgets",
                        "Display": "Budgets",
                        "Help": "Select if you want to create additional channels for the budget usage in your Microsoft Azure subscription.",
                        "Flags": [
                            "SettingFlagRequired",
                            "SettingFlagReadOnlyOnNotEmpty"
                        ],
                        "Default": "disabled",
                        "Selection": {
                            "Mode": "SettingSelectionModeSingle",
                            "Options": [
                                {
                                    "Display": "Disabled (default)",
                                    "Value": "disabled"
                                },
                                {
                                    "Display": "Enabled",
                                    "Value": "enabled"
                                }
                            ]
                        }
                    }
                },
                {
                    "Setting": {
                        "Name": "show_forecast",
                        "Display": "Cost Forecast",
                        "Help": "Select if you want to create an additional channel with a cost forecast for your Microsoft Azure subscription.",
                        "Flags": [
                            "SettingFlagRequired",
                            "SettingFlagReadOnlyOnNotEmpty"
                        ],
                        "Default": "disabled",
                        "Selection": {
                            "Mode": "SettingSelectionModeSingle",
                            "Options": [
                                {
                                    "Display": "Disabled (default)",
                                    "Value": "disabled"
                                },
                                {
                                    "Display": "Enabled",
                                    "Value": "enabled"
                                }
                            ]
                        }
                    }
                },
                {
                    "Setting": {
                        "Name": "show_most_expensive_service",
                        "Display": "Most Expensive Service",
                        "Help": "Select if you want to show the most expensive service of your Microsoft Azure subscription in the sensor message.",
                        "Flags": [
                            "SettingFlagRequired"
                        ],
                        "Default": "disabled",
                        "Selection": {
                            "Mode": "SettingSelectionModeSingle",
                            "Options": [
                                {
                                    "Display": "Disabled (default)",
                                    "Value": "disabled"
                                },
                                {
                                    "Display": "Enabled",
                                    "Value": "enabled"
                                }
                            ]
                        }
                    }
                },
                {
                    "DependsOn": "show_most_expensive_service",
                    "Condition": "enabled",
                    "Setting": {
                        "Name": "most_expensive_service_grouping",
                        "Display": "Most Expensive Service Category",
                        "Help": "Select the category for which you want to show the most expensive service in the sensor message.",
                        "Flags": [
                            "SettingFlagRequired"
                        ],
                        "Default": "resourcegroupname",
                        "Selection": {
                            "Mode": "SettingSelectionModeSingle",
                            "Options": [
                                {
                                    "Display": "Resource group (default)",
                                    "Value": "resourcegroupname"
                                },
                                {
                                    "Display": "Resource type",
                                    "Value": "resourcetype"
                                },
                                {
                                    "Display": "Resource ID",
                                    "Value": "resourceid"
                                },
                                {
                                    "Display": "Location",
                                    "Value": "resourcelocation"
                                },
                                {
                                    "Display": "Service name",
                                    "Value": "servicename"
                                }
                            ]
                        }
                    }
                }
            ]
        }
    },
    "Lookups": {
        "virtual_machine_status": {
            "Name": "virtual_machine_status",
            "Mode": "LookupDisplayModeInteger",
            "LookupValues": [
                {
                    "State": "LookupValueStateOk",
                    "Value": 0,
                    "Display": "Running (Billed)"
                },
                {
                    "State": "LookupValueStateOk",
                    "Value": 1,
                    "Display": "Starting (Not Billed)"
                },
                {
                    "State": "LookupValueStateWarning",
                    "Value": 10,
                    "Display": "Stopped (Billed)"
                },
                {
                    "State": "LookupValueStateWarning",
                    "Value": 11,
                    "Display": "Stopping (Billed)"
                },
                {
                    "State": "LookupValueStateError",
                    "Value": 20,
                    "Display": "Deallocated (Not Billed)"
                },
                {
                    "State": "LookupValueStateError",
                    "Value": 21,
                    "Display": "Deallocating (Not Billed)"
                }
            ]
        }
    },
    "Sensors": {
        "virtual_machine_sensor": {
            "Name": "virtual_machine_sensor",
            "Display": "Microsoft Azure Virtual Machine",
            "Description": "Monitors the status of a virtual machine in a Microsoft Azure subscription",
            "ManualLink": "/help/Microsoft_Azure_Virtual_Machine_Sensor.htm",
            "Help": "Requires valid Azure AD credentials in the settings of the parent device or group. Make sure that you assigned the correct permissions and roles in your Microsoft Azure subscription.",
            "Family": [
                "FamilyKindAvailability",
                "FamilyKindCloudServices",
                "FamilyKindCPU",
                "FamilyKindHTTP",
                "FamilyKindVirtualization"
            ],
            "Compatibility": [
                "SystemCompatibilityIPv4",
                "SystemCompatibilityIPv6"
            ],
            "ResourceUsage": 1,
            "MinimumInterval": 60,
            "FirstMetaStep": "virtual_machine_metascan",
            "Settings": {
                "Sections": [
                    "azure_credentials_section"
                ]
            },
            "Flag": [
                "SensorFlagIsBeta"
            ],
            "Tags": [
                "microsoftazure",
                "microsoftazurevirtualmachine",
                "azure"
            ]
        },
        "subscription_cost_sensor": {
            "Name": "subscription_cost_sensor",
            "Display": "Microsoft Azure Subscription Cost",
            "Description": "Monitors the cost in a Microsoft Azure subscription",
            "ManualLink": "/help/Microsoft_Azure_Subscription_Cost_Sensor.htm",
            "Help": "Requires valid Azure AD credentials in the settings of the parent device or group. Make sure that you assigned the correct permissions and roles in your Microsoft Azure subscription.",
            "Family": [
                "FamilyKindCloudServices",
                "FamilyKindAvailability",
                "FamilyKindHTTP"
            ],
            "Compatibility": [
                "SystemCompatibilityIPv4",
                "SystemCompatibilityIPv6"
            ],
            "ResourceUsage": 1,
            "MinimumInterval": 14400,
            "Settings": {
                "Sections": [
                    "azure_credentials_section",
                    "subscription_cost_sensor_section"
                ]
            },
            "Flag": [
                "SensorFlagIsBeta"
            ],
            "Tags": [
                "microsoftazure",
                "microsoftazuresubscriptioncost",
                "azure"
            ]
        },
        "sql_database_sensor": {
            "Name": "sql_database_sensor",
            "Display": "Microsoft Azure SQL Database",
            "Description": "Monitors the metrics of an Azure SQL Database in a Microsoft Azure subscription",
            "ManualLink": "/help/Microsoft_Azure_SQL_Database_Sensor.htm",
            "Help": "Requires valid Azure AD credentials in the settings of the parent device or group. Make sure that you assigned the correct permissions and roles in your Microsoft Azure subscription.",
            "Family": [
                "FamilyKindCloudServices",
                "FamilyKindAvailability",
                "FamilyKindHTTP"
            ],
            "Compatibility": [
                "SystemCompatibilityIPv4",
                "SystemCompatibilityIPv6"
            ],
            "ResourceUsage": 1,
            "MinimumInterval": 60,
            "FirstMetaStep": "sql_database_metascan",
            "Settings": {
                "Sections": [
                    "azure_credentials_section"
                ]
            },
            "Flag": [
                "SensorFlagIsAlpha"
            ],
            "Tags": [
                "microsoftazure",
                "microsoftazuresqldatabase",
                "azure"
            ]
        }
    },
    "MetaScans": {
        "virtual_machine_metascan": {
            "Name": "virtual_machine_metascan",
            "Mode": "MetaScanInformationModeTable",
            "Section": "virtual_machine_metascan_section"
        },
        "sql_database_metascan": {
            "Name": "sql_database_metascan",
            "Mode": "MetaScanInformationModeTable",
            "Section": "sql_database_metascan_section"
        }
    }
})json";
    return document;
}

}  // namespace zentrova::monitoring_modules::microsoftazure::definition
